#include "SampleServer/Router.h"

#include "Platform/JSON/Value.h"
#include "SampleServer/Answers.h"
#include "SampleServer/ClassicBody.h"
#include "SampleServer/ListQuery.h"

namespace sample {

namespace {

std::string arrayOf(const std::vector<std::string>& texts) {
  return platform::json::Value::array({texts.begin(), texts.end()}).text();
}

}  // namespace

Router::Router(const Fleet& fleet, const Downloads& downloads, Administration& administration,
               const SampleOptions& options)
    : fleet_(fleet),
      downloads_(downloads),
      administration_(administration),
      privileges_(arrayOf(options.privileges)),
      modes_(std::make_unique<Mode[]>(sectionTable().size())),
      privilegesInAuth_(options.privilegesInAuth) {
  for (std::size_t i = 0; i < sectionTable().size(); ++i) {
    addRow(i);
    const std::string id(sectionTable()[i].id);
    if (const auto found = options.refusedSections.find(id); found != options.refusedSections.end()) {
      modes_[i].status = found->second;
    }
    if (const auto found = options.listShapes.find(id); found != options.listShapes.end()) {
      modes_[i].shape = found->second;
    }
    modes_[i].totalCount = !options.withoutTotalCount.contains(id);
  }
  addDevices();
}

void Router::addRow(std::size_t section) {
  const SectionRow& row = sectionTable()[section];
  const std::string path(row.path);
  switch (row.kind) {
    case SectionKind::classicList:
      exact_.emplace("JSSResource/" + path, Target{section, What::classicList});
      parents_.emplace("JSSResource/" + path + "/id", Target{section, What::record});
      break;
    case SectionKind::classicSingle:
      exact_.emplace("JSSResource/" + path, Target{section, What::single});
      break;
    case SectionKind::proList:
      exact_.emplace(path, Target{section, What::page});
      parents_.emplace(path, Target{section, What::record});
      break;
    case SectionKind::proArray:
      exact_.emplace(path, Target{section, What::array});
      if (row.ids == IDStyle::number) parents_.emplace(path, Target{section, What::record});
      break;
    case SectionKind::proSingle:
      exact_.emplace(path, Target{section, What::single});
      break;
    case SectionKind::accounts:
      exact_.emplace("JSSResource/accounts", Target{section, What::accountList});
      parents_.emplace("JSSResource/accounts/userid", Target{section, What::record});
      break;
    case SectionKind::accountGroups:
      parents_.emplace("JSSResource/accounts/groupid", Target{section, What::record});
      break;
    case SectionKind::devices:
    case SectionKind::files:
      break;
  }
}

void Router::addDevices() {
  const std::size_t computers = *sectionNumber("computers");
  const std::size_t mobile = *sectionNumber("mobileDevices");
  for (const char* version : {"v1", "v2", "v3", "v4"}) {
    const std::string inventory = std::string("api/") + version + "/computers-inventory";
    exact_.emplace(inventory, Target{computers, What::page});
    parents_.emplace(inventory, Target{computers, What::record});
    parents_.emplace(inventory + "-detail", Target{computers, What::record});
  }
  parents_.emplace("JSSResource/computers/id", Target{computers, What::classicRecord});
  exact_.emplace("api/v2/mobile-devices/detail", Target{mobile, What::datedPage});
  exact_.emplace("api/v2/mobile-devices", Target{mobile, What::basicPage});
  details_.emplace("api/v2/mobile-devices", Target{mobile, What::record});
  parents_.emplace("JSSResource/mobiledevices/id", Target{mobile, What::classicRecord});
}

Answer Router::answer(const Request& request, std::string_view path) const {
  try {
    return route(request, path);
  } catch (Refusal& refusal) {
    return std::move(refusal.answer);
  }
}

Answer Router::route(const Request& request, std::string_view path) const {
  if (path == "api/v1/jamf-pro-version") return proAnswer(R"({"version":"11.30.1-t1784555528405"})");
  if (path == "api/v1/auth") return serveAuth();
  if (const auto task = administration_.find(request)) {
    if (const int status = modes_[*sectionNumber(task->route.section)].status)
      return failureFor(path, status);
    if (auto answer = administration_.serve(*task)) return *std::move(answer);
  }
  if (const auto found = exact_.find(path); found != exact_.end())
    return serve(request, path, found->second, {});

  // A file's name may hold slashes.
  constexpr std::string_view cloudFiles = "api/v1/jcds/files/";
  if (path.starts_with(cloudFiles)) {
    return serve(request, path, {*sectionNumber("jcdsFiles"), What::fileURL}, path.substr(cloudFiles.size()));
  }

  constexpr std::string_view detail = "/detail";
  const bool ends = path.ends_with(detail);
  const std::string_view stem = ends ? path.substr(0, path.size() - detail.size()) : path;
  const std::size_t slash = stem.rfind('/');
  if (slash != std::string_view::npos) {
    const Targets& targets = ends ? details_ : parents_;
    const auto found = targets.find(stem.substr(0, slash));
    if (found != targets.end()) return serve(request, path, found->second, stem.substr(slash + 1));
  }
  return failureFor(path, 404);
}

Answer Router::serve(const Request& request, std::string_view path, Target target,
                     std::string_view id) const {
  const Mode& mode = modes_[target.section];
  if (const int status = refusalOf(target)) return failureFor(path, status);
  if (request.method != "GET") return failureFor(path, 405);
  const bool classic = path.starts_with("JSSResource");
  if (classic) requireJSON(request);
  switch (target.what) {
    case What::classicList:
      return classicAnswer(fleet_.classicList(target.section, mode.shape));
    case What::accountList:
      return classicAnswer(fleet_.accountList());
    case What::page:
    case What::datedPage:
    case What::basicPage:
      return servePage(request, target);
    case What::fileURL:
      return downloads_.answerURL(id);
    case What::array:
      return proAnswer(fleet_.bareArray(target.section));
    case What::single:
      id = "settings";
      break;
    case What::record:
    case What::classicRecord:
      break;
  }
  auto body = fleet_.record(target.section, id,
                            target.what == What::classicRecord ? RecordForm::classic : RecordForm::whole);
  if (!body) return failureFor(path, 404);
  return classic ? classicAnswer(std::move(*body)) : proAnswer(std::move(*body));
}

int Router::refusalOf(const Target& target) const {
  if (const int status = modes_[target.section].status) return status;
  if (target.what == What::classicRecord) return classicDevices_;
  return target.what == What::datedPage && !mobileDetailList_ ? 404 : 0;
}

Answer Router::servePage(const Request& request, Target target) const {
  const PageRequest asked = PageRequest::of(request);
  return proAnswer(fleet_.page(target.section, asked.page, asked.size, modes_[target.section].totalCount,
                               target.what == What::basicPage ? ListForm::basic : ListForm::usual));
}

Answer Router::serveAuth() const {
  constexpr std::string_view start =
      R"({"account":{"id":"7","username":"backup-client","realName":"","email":"","preferences":{"language":"en","dateFormat":"MM/dd/yyyy","region":"Europe","timezone":"Etc/GMT","disableRelativeDates":false},"multiSiteAdmin":false,"accessLevel":"FullAccess","privilegeSet":"CUSTOM","privilegesBySite":{"-1":["Read Computers","Read Packages"]},)";
  constexpr std::string_view end =
      R"("groupIds":[],"currentSiteId":"-1"},"accountGroups":[],"sites":[{"id":"1","name":"North campus"}],"authenticationType":"CLIENT_CREDENTIALS"})";
  platform::Bytes body(start);
  if (privilegesInAuth_) body += "\"privileges\":" + privileges_ + ",";
  return proAnswer(body += end);
}

}  // namespace sample
