#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/JSON/Value.h"
#include "orvik/Arguments.h"
#include "orvik/Output/Output.h"
#include "orvik/Output/Paint.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// Prints what a command found, in the form that it was asked for. Of a pair of text and JSON
/// only one is printed. Arguments and results must outlive it.
class Report {
 public:
  Report(const OutputArguments& form, Results& results);

  bool isJSON() const { return form_.json; }
  /// The emphasis of texts on standard output.
  const Paint& paint() const { return paint_; }

  /// Something a person should know; on standard error, or a `note` line. Not when quiet.
  void note(const std::string& text) const;
  /// A line of text, or several. The text is safe for a terminal.
  void text(const std::string& lines) const;
  void record(const platform::json::Value& json) const;
  /// The members of an object as a record of that name.
  void event(const std::string& name, platform::json::Value members) const;
  void lines(const std::vector<std::string>& text, const std::vector<platform::json::Value>& json) const;
  /// The last line.
  void finished(const std::string& text, platform::json::Value json) const;

  /// For commands that do nothing but tell: throws `ReaderLeft` when nobody reads any more.
  void requireReader() const;

  /// How a stretch of work is shown. A line in motion must not stand in the way of a result or a question:
  /// the view goes before either, or lets it pass with `aside`.
  std::unique_ptr<ProgressView> view(Verbosity verbosity = Verbosity::normal) const;

 private:
  const OutputArguments& form_;
  Results& results_;
  const Paint paint_;
};

}  // namespace orvik::host
