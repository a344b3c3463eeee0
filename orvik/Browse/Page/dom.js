import { visible } from './text.js';

/// An element from "tag.class.class", its attributes and children. Every text passes `visible`, and nothing is ever
/// read as markup. A function is a listener of the event that its attribute names: {onclick}. What is null, undefined
/// or false is left out.
export function h(name, attributes, ...children) {
  const [tag, ...classes] = name.split('.');
  const element = document.createElement(tag);
  if (classes.length) element.className = classes.join(' ');
  for (const [key, value] of Object.entries(attributes ?? {})) setAttribute(element, key, value);
  add(element, children);
  return element;
}

function setAttribute(element, key, value) {
  if (value === null || value === undefined || value === false) return;
  if (typeof value === 'function') element.addEventListener(key.slice(2), value);
  else element.setAttribute(key, value === true ? '' : visible(String(value)));
}

export function add(element, children) {
  for (const child of [children].flat(Infinity)) {
    if (child === null || child === undefined || child === false) continue;
    element.append(child instanceof Node ? child : visible(String(child)));
  }
  return element;
}

/// Puts other children in place of those that an element has.
export const fill = (element, ...children) => {
  element.replaceChildren();
  return add(element, children);
};

export const byID = (id) => document.getElementById(id);

/// Tells those who can't see the page.
export function announce(text) {
  byID('status').textContent = visible(text);
}

let numbers = 0;
/// An ID that no other element has.
export const newID = () => `e${++numbers}`;

/// A heading with what it is the heading of.
export function block(level, title, ...children) {
  const id = newID();
  return h('section', { 'aria-labelledby': id }, h(`h${level}`, { id }, title), children);
}
