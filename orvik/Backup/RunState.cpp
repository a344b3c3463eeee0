#include "orvik/Backup/RunState.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "Platform/Locale/Text.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

/// Earlier than that a rate says more about the first answer than about the section.
constexpr std::chrono::duration<double> settled{1.0};

/// Seconds that a step may take without a word about it.
constexpr std::chrono::duration<double> patience{2.0};

std::string soFar(const RunState& state, platform::MonotonicTime now) {
  const std::chrono::duration<double> elapsed = now - state.stepSince;
  if (state.stepSince == platform::MonotonicTime() || elapsed < patience) return "";
  return "  " + wording::duration(std::chrono::floor<std::chrono::seconds>(elapsed));
}

/// Where bytes are the measure: how many of how many, how fast, how long still.
std::string bytePace(const RunState::Section& section, platform::MonotonicTime now) {
  const std::chrono::duration<double> elapsed = now - section.since;
  auto text = "  " + platform::locale::byteCount(section.bytes);
  if (section.bytes <= section.bytesExpected)
    text += " of " + platform::locale::byteCount(section.bytesExpected);
  if (elapsed < settled) return text;
  const double rate = static_cast<double>(section.bytes) / elapsed.count();
  text += fmt::format("  {}/s", platform::locale::byteCount(static_cast<std::int64_t>(rate)));
  const std::chrono::duration<double> left(static_cast<double>(section.bytesExpected - section.bytes) / rate);
  if (section.bytes < section.bytesExpected) text += fmt::format("  {} left", wording::roughly(left));
  return text;
}

std::string pace(const RunState::Section& section, platform::MonotonicTime now) {
  const std::chrono::duration<double> elapsed = now - section.since;
  if (elapsed < settled || section.done == 0) return "";
  const double rate = static_cast<double>(section.done) / elapsed.count();
  std::string text = fmt::format("  {:.{}f}/s", rate, rate < 10 ? 1 : 0);
  const std::chrono::duration<double> left(static_cast<double>(section.total - section.done) / rate);
  if (section.done < section.total) text += fmt::format("  {} left", wording::roughly(left));
  return text;
}

}  // namespace

void RunState::begin(std::string nextStep, platform::MonotonicTime now) {
  step = std::move(nextStep);
  stepSince = now;
  section.reset();
}

void RunState::advance(std::size_t done, std::size_t total) {
  if (!section) section = Section{step, 0, 0, stepSince, bytes, 0, 0};
  section->done = done;
  section->total = total;
}

void RunState::apply(const BackupEvent& event, platform::MonotonicTime now) {
  if (const auto* started = std::get_if<BackupEvents::Started>(&event)) {
    sections = started->sections.size();
    begin("Reading", now);
  } else if (const auto* next = std::get_if<BackupEvents::SectionStarted>(&event)) {
    section = Section{std::string(next->section.title), 0, 0, now, bytes, 0, 0};
  } else if (const auto* progress = std::get_if<BackupEvents::SectionProgress>(&event)) {
    if (!section) return;
    // Objects side by side may report out of order.
    section->done = std::max(section->done, progress->done);
    section->total = std::max(progress->total, section->done);
  } else if (const auto* expected = std::get_if<BackupEvents::BytesExpected>(&event)) {
    if (section) section->bytesExpected = expected->bytes;
  } else if (const auto* transferred = std::get_if<BackupEvents::BytesTransferred>(&event)) {
    bytes = std::max(bytes, transferred->bytes);
    if (section) section->bytes = bytes - section->bytesBefore;
  } else if (std::holds_alternative<BackupEvents::SectionFinished>(event)) {
    section.reset();
    ++finished;
    if (sections != 0 && finished >= sections) begin("Publishing", now);
  }
}

std::string progressLine(const RunState& state, platform::MonotonicTime now, std::size_t width) {
  std::string line;
  if (state.sections != 0)
    line = fmt::format("[{}/{}] ", std::min(state.finished + 1, state.sections), state.sections);
  if (!state.section) return fitted(line + state.step + soFar(state, now), width);
  line += state.section->title;
  if (state.section->total != 0)
    line += fmt::format("  {} of {}", state.section->done, state.section->total) +
            (state.section->bytes > 0 ? bytePace(*state.section, now) : pace(*state.section, now));
  return fitted(line, width);
}

}  // namespace orvik::host
