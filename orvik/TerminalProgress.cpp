#include "orvik/TerminalProgress.h"

#include "orvik/Wording.h"

namespace orvik::host {

namespace {

using namespace std::chrono_literals;

/// To the start of the line, and clear to its end (ECMA-48, 8.3.41).
constexpr std::string_view wipeLine = "\r\x1b[K";

}  // namespace

TerminalProgress::TerminalProgress(Verbosity verbosity)
    : verbosity_(verbosity), ticker_(100ms, [this] { draw(); }) {}

TerminalProgress::~TerminalProgress() {
  state_.withLock([](State& state) {
    wipe(state);
    state.isOver = true;
  });
}

void TerminalProgress::wipe(State& state) {
  if (!state.drawn.empty()) remarks::write(wipeLine);
  state.drawn.clear();
}

void TerminalProgress::say(State& state, std::string_view lines) {
  wipe(state);
  remarks::write(lines);
}

void TerminalProgress::step(const std::string& text) {
  state_.withLock([&](State& state) { state.run.begin(text, platform::MonotonicClock::now()); });
}

void TerminalProgress::remark(const std::string& text) {
  state_.withLock([&](State& state) { say(state, oneLine(text) + "\n"); });
}

void TerminalProgress::event(const BackupEvent& event) {
  state_.withLock([&](State& state) {
    state.run.apply(event, platform::MonotonicClock::now());
    if (const auto* note = std::get_if<BackupEvents::Note>(&event)) say(state, oneLine(note->text) + "\n");
    if (const auto* retention = std::get_if<BackupEvents::Retention>(&event))
      say(state, "Deleted " + wording::deleted(retention->result) + "\n");
    const auto* started = std::get_if<BackupEvents::Started>(&event);
    if (started != nullptr && started->resumed)
      say(state, oneLine("Going on with the interrupted backup " + started->backupID) + "\n");
  });
}

void TerminalProgress::draw() {
  state_.withLock([](State& state) {
    if (state.isOver) return;
    // The last column stays free: some terminals break the line when it is written.
    auto line = progressLine(state.run, platform::MonotonicClock::now(), remarks::width() - 1);
    if (line == state.drawn) return;
    remarks::write(std::string(wipeLine) + line);
    state.drawn = std::move(line);
  });
}

void TerminalProgress::finished(const BackupOutcome& outcome) {
  state_.withLock([&](State& state) {
    state.isOver = true;
    if (verbosity_ == Verbosity::brief) return wipe(state);
    std::string text = wording::summary(outcome);
    if (remarks::colours()) {
      const bool isComplete = outcome.manifest.status == BackupManifest::Status::complete;
      text.insert(text.find(':'), "\x1b[0m");
      text.insert(0, isComplete ? "\x1b[1;32m" : "\x1b[1;33m");
    }
    say(state, text);
  });
}

void TerminalProgress::finished(const SimulationOutcome& outcome) {
  state_.withLock([&](State& state) {
    state.isOver = true;
    say(state, wording::warnings(outcome.manifest));
  });
}

}  // namespace orvik::host
