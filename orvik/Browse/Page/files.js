import { getBlob } from './api.js';
import { fileNameOf } from './text.js';

function save(url, fileName) {
  const link = document.createElement('a');
  link.href = url;
  link.download = fileNameOf(fileName);
  link.click();
}

/// Long enough for a tab to have read it, short enough for a large package not to stay.
const release = (url) => setTimeout(() => URL.revokeObjectURL(url), 60000);

/// Opens a report beside this page, or saves it where the browser opens no tab.
export async function openReport(folder, backup, name) {
  const blob = await getBlob(['folders', folder, 'backups', backup, 'report'], { name });
  const url = URL.createObjectURL(new Blob([blob], { type: 'application/pdf' }));
  if (!window.open(url, '_blank')) save(url, `${name}-report.pdf`);
  release(url);
}

export async function download(folder, backup, section, id, { form, fileName }) {
  const blob = await getBlob(['folders', folder, 'backups', backup, 'download'], { section, id, form });
  // As bytes: whatever it is, no tab of this origin is to run it.
  const url = URL.createObjectURL(new Blob([blob], { type: 'application/octet-stream' }));
  save(url, fileName);
  release(url);
}
