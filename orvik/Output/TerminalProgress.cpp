#include "orvik/Output/TerminalProgress.h"

#include "orvik/Output/Paint.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

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

void TerminalProgress::progress(std::size_t done, std::size_t total) {
  state_.withLock([&](State& state) { state.run.advance(done, total); });
}

void TerminalProgress::aside(const std::function<void()>& print) {
  state_.withLock([&](State& state) {
    wipe(state);
    print();
  });
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
    const bool isComplete = outcome.manifest.status == BackupManifest::Status::complete;
    const auto status = text.find(':');
    const Paint paint(wantsColours(Stream::error));
    text.replace(0, status,
                 paint(isComplete ? Paint::Ink::good : Paint::Ink::warning, text.substr(0, status)));
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
