#include "orvik/Output/PlainProgress.h"

#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using namespace std::chrono_literals;
using platform::MonotonicClock;

/// Silence until the first sign of life of a step, and between further ones.
constexpr auto firstSign = 2s;
constexpr auto nextSigns = 10s;
constexpr std::size_t longestLine = 200;

}  // namespace

PlainProgress::PlainProgress(Verbosity verbosity)
    : verbosity_(verbosity), ticker_(250ms, [this] { tick(); }) {}

void PlainProgress::say(State& state, const std::string& line) {
  remarks::line(line);
  state.lastLine = MonotonicClock::now();
}

void PlainProgress::step(const std::string& text) {
  state_.withLock([&](State& state) {
    state.run.begin(text, MonotonicClock::now());
    state.spoke = false;
    if (verbosity_ == Verbosity::normal) say(state, oneLine(text));
  });
}

void PlainProgress::remark(const std::string& text) {
  state_.withLock([&](State& state) { say(state, oneLine(text)); });
}

void PlainProgress::progress(std::size_t done, std::size_t total) {
  state_.withLock([&](State& state) { state.run.advance(done, total); });
}

void PlainProgress::event(const BackupEvent& event) {
  state_.withLock([&](State& state) {
    state.run.apply(event, MonotonicClock::now());
    if (std::holds_alternative<BackupEvents::SectionStarted>(event)) {
      state.spoke = false;
      state.lastLine = MonotonicClock::now();
    } else if (const auto* started = std::get_if<BackupEvents::Started>(&event)) {
      if (started->resumed) say(state, oneLine("Going on with the interrupted backup " + started->backupID));
    } else if (const auto* finished = std::get_if<BackupEvents::SectionFinished>(&event)) {
      const auto line = wording::section(finished->summary);
      if (verbosity_ == Verbosity::normal && !line.empty()) say(state, line);
    } else if (const auto* note = std::get_if<BackupEvents::Note>(&event)) {
      say(state, oneLine(note->text));
    } else if (const auto* retention = std::get_if<BackupEvents::Retention>(&event)) {
      say(state, "Deleted " + wording::deleted(retention->result));
    }
  });
}

void PlainProgress::tick() {
  state_.withLock([](State& state) {
    const auto now = MonotonicClock::now();
    if (now - state.lastLine < (state.spoke ? MonotonicClock::duration(nextSigns) : firstSign)) return;
    state.spoke = true;
    say(state, progressLine(state.run, now, longestLine));
  });
}

void PlainProgress::finished(const BackupOutcome& outcome) {
  if (verbosity_ == Verbosity::brief) return;
  state_.withLock([&](State&) { remarks::write(wording::summary(outcome)); });
}

void PlainProgress::finished(const SimulationOutcome& outcome) {
  state_.withLock([&](State&) { remarks::write(wording::warnings(outcome.manifest)); });
}

}  // namespace orvik::host
