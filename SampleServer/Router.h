#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "SampleServer/Administration.h"
#include "SampleServer/Downloads.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/HTTPMessage.h"
#include "SampleServer/SampleOptions.h"

namespace sample {

/// Finds what a path asks for and answers from the fleet, or lets the administration answer. The token has
/// been looked at before. Any thread may call.
class Router {
 public:
  Router(const Fleet& fleet, const Downloads& downloads, Administration& administration,
         const SampleOptions& options);

  /// `path` is decoded and has no leading slash.
  Answer answer(const Request& request, std::string_view path) const;

  /// Status 0 lets the section answer again.
  void refuseSection(std::size_t section, int status) { modes_[section].status = status; }
  void setListShape(std::size_t section, ListShape shape) { modes_[section].shape = shape; }
  void setTotalCount(std::size_t section, bool shown) { modes_[section].totalCount = shown; }
  void setPrivilegesInAuth(bool shown) { privilegesInAuth_ = shown; }
  /// Without it the list of mobile devices with dates is not found; their records are.
  void setMobileDetailList(bool served) { mobileDetailList_ = served; }
  /// The same for the Classic records of devices alone.
  void refuseClassicDevices(int status) { classicDevices_ = status; }

 private:
  enum class What {
    classicList,
    accountList,
    page,
    datedPage,  ///< of mobile devices with their dates, which not every server has
    basicPage,
    array,
    single,
    record,
    classicRecord,
    fileURL
  };

  struct Target {
    std::size_t section;
    What what;
  };
  struct Mode {
    std::atomic<int> status = 0;
    std::atomic<ListShape> shape = ListShape::regular;
    std::atomic<bool> totalCount = true;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Targets = std::unordered_map<std::string, Target, Hash, std::equal_to<>>;

  /// These throw `Refusal`.
  Answer route(const Request& request, std::string_view path) const;
  Answer serve(const Request& request, std::string_view path, Target target, std::string_view id) const;
  Answer servePage(const Request& request, Target target) const;

  void addRow(std::size_t section);
  void addDevices();
  int refusalOf(const Target& target) const;
  Answer serveAuth() const;

  // Constant after construction.
  const Fleet& fleet_;
  const Downloads& downloads_;
  Administration& administration_;
  const std::string privileges_;  // a JSON array
  Targets exact_;                 // whole paths
  Targets parents_;               // the path ahead of "/<id>"
  Targets details_;               // the path ahead of "/<id>/detail"

  // Synchronise themselves.
  std::unique_ptr<Mode[]> modes_;
  std::atomic<bool> privilegesInAuth_;
  std::atomic<bool> mobileDetailList_ = true;
  std::atomic<int> classicDevices_ = 0;
};

}  // namespace sample
