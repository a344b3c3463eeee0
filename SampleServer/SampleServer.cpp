#include "SampleServer/SampleServer.h"

#include <fmt/format.h>

#include "Platform/Error.h"
#include "Platform/Files/Files.h"
#include "SampleServer/Connections.h"
#include "SampleServer/Exchange.h"
#include "SampleServer/Mutations.h"
#include "SampleServer/Router.h"

namespace sample {
namespace {

struct ObjectName {
  std::size_t section;
  std::string_view id;
};

/// Accounts are two lines of the table under one name.
std::optional<ObjectName> resolve(std::string_view section, std::string_view id) {
  if (section == "accounts") {
    const bool group = id.starts_with("group:");
    if (!group && !id.starts_with("user:")) return std::nullopt;
    section = group ? "accountGroups" : "accounts";
    id.remove_prefix(id.find(':') + 1);
  }
  const auto number = sectionNumber(section);
  if (!number) return std::nullopt;
  return ObjectName{*number, id};
}

/// Whether a file in a folder can be called that.
bool isName(std::string_view name) {
  constexpr std::size_t longest = 255;
  constexpr std::string_view never("/\0", 2);
  return !name.empty() && name.size() <= longest && name != "." && name != ".." &&
         name.find_first_of(never) == std::string_view::npos;
}

std::string orMade(const std::string& given, std::string made) { return given.empty() ? made : given; }

}  // namespace

class SampleServer::Core {
 public:
  explicit Core(const SampleOptions& options)
      : fleet(options.size, options.seed),
        downloads(fleet, options.clock),
        administration(fleet, dialect),
        router(fleet, downloads, administration, options),
        tokens(
            orMade(options.clientID, fmt::format("sample-client-{}", options.seed)),
            orMade(options.clientSecret, fmt::format("sample-secret-{:016x}-not-secret", mix(options.seed))),
            options.tokenLifetime, options.clock),
        log(options.log),
        exchange(tokens, downloads, router, faults, log),
        port(options.port) {}

  FileContent content(const std::string& fileName) const {
    const auto file = fleet.shelf().file(fileName);
    if (!file) throw platform::Error(fmt::format("The sample server has no file \"{}\".", fileName));
    return file->content;
  }

  Fleet fleet;
  Dialect dialect;
  Downloads downloads;
  Administration administration;
  Router router;
  TokenDesk tokens;
  FaultRules faults;
  RequestLog log;
  Exchange exchange;
  std::uint16_t port;
  std::unique_ptr<Connections> connections;  // null while stopped
};

SampleServer::SampleServer(SampleOptions options) : core_(std::make_unique<Core>(options)) { start(); }

SampleServer::~SampleServer() { stop(); }

void SampleServer::start() {
  if (core_->connections) return;
  core_->connections = std::make_unique<Connections>(core_->port, core_->exchange);
  core_->port = core_->connections->port();
  core_->fleet.setPort(core_->port);
}

void SampleServer::stop() noexcept { core_->connections.reset(); }

std::string SampleServer::url() const { return fmt::format("http://127.0.0.1:{}", core_->port); }
std::uint16_t SampleServer::port() const { return core_->port; }
const std::string& SampleServer::clientID() const { return core_->tokens.clientID(); }
const std::string& SampleServer::clientSecret() const { return core_->tokens.clientSecret(); }
void SampleServer::revokeTokens() { core_->tokens.revokeAll(); }
void SampleServer::setTokenLifetime(std::chrono::seconds lifetime) { core_->tokens.setLifetime(lifetime); }

bool SampleServer::change(std::string_view section, std::string_view id) {
  const auto object = resolve(section, id);
  return object && core_->fleet.change(object->section, object->id);
}

bool SampleServer::remove(std::string_view section, std::string_view id) {
  const auto object = resolve(section, id);
  return object && core_->fleet.remove(object->section, object->id);
}

bool SampleServer::rename(std::string_view section, std::string_view id, std::string name) {
  const auto object = resolve(section, id);
  return object && core_->fleet.rename(object->section, object->id, std::move(name));
}

std::optional<std::string> SampleServer::add(std::string_view section) {
  const auto number = sectionNumber(section);
  if (!number) return std::nullopt;
  auto id = core_->fleet.add(*number);
  if (id && section == "accounts") id = "user:" + *id;
  return id;
}

std::vector<std::string> SampleServer::mutate(std::size_t count, std::uint64_t seed) {
  return sample::mutate(core_->fleet, count, seed);
}

std::vector<std::string> SampleServer::ids(std::string_view section) const {
  const auto number = sectionNumber(section);
  if (!number) return {};
  std::vector<std::string> found = core_->fleet.ids(*number);
  if (section != "accounts") return found;
  for (std::string& id : found) id.insert(0, "user:");
  for (const std::string& id : core_->fleet.ids(*sectionNumber("accountGroups")))
    found.push_back("group:" + id);
  return found;
}

std::optional<std::string> SampleServer::record(std::string_view section, std::string_view id) const {
  const auto object = resolve(section, id);
  return object ? core_->fleet.record(object->section, object->id) : std::nullopt;
}

std::size_t SampleServer::objectCount() const { return core_->fleet.objectCount(); }

bool SampleServer::setInventoryDate(std::string_view section, std::string_view id,
                                    std::optional<std::string> date) {
  const auto object = resolve(section, id);
  return object && core_->fleet.setInventoryDate(object->section, object->id, std::move(date));
}

bool SampleServer::refresh(std::string_view section, std::string_view id) {
  const auto object = resolve(section, id);
  return object && core_->fleet.refresh(object->section, object->id);
}

std::vector<PackageFile> SampleServer::packageFiles() const { return core_->fleet.packageFiles(); }

void SampleServer::writePackageFile(const std::string& fileName, const std::filesystem::path& to) const {
  core_->content(fileName).write(to);
}

std::string SampleServer::packageSHA256(const std::string& fileName) const {
  core_->content(fileName);
  return *core_->fleet.shelf().digest(fileName, platform::DigestAlgorithm::sha256);
}

std::string SampleServer::addPackage(const NewPackage& package) { return core_->fleet.addPackage(package); }
bool SampleServer::changePackageFile(const std::string& fileName) {
  return core_->fleet.changePackageFile(fileName);
}

void SampleServer::writeShareFolder(const std::filesystem::path& mount) const {
  const auto folder = mount / "Packages";
  platform::files::createDirectories(folder);
  for (const PackageFile& file : packageFiles()) {
    if (file.onShare && isName(file.fileName)) writePackageFile(file.fileName, folder / file.fileName);
  }
}

void SampleServer::setPresignedLifetime(std::chrono::seconds lifetime) {
  core_->downloads.setLifetime(lifetime);
}
void SampleServer::expirePresignedURLs() { core_->downloads.expireAll(); }
void SampleServer::setSignedHost(std::string base) { core_->downloads.setSignedHost(std::move(base)); }
void SampleServer::setSignedURI(std::optional<std::string> whole) {
  core_->downloads.setSignedURI(std::move(whole));
}
void SampleServer::setRangeServed(bool served) { core_->downloads.setRangeServed(served); }
void SampleServer::setDownloadValidators(bool etag, bool lastModified) {
  core_->downloads.setValidators(etag, lastModified);
}
void SampleServer::setDownloadRate(std::int64_t bytesPerSecond) {
  core_->exchange.setDownloadRate(bytesPerSecond);
}

bool SampleServer::refuseSection(std::string_view section, int status) {
  const auto number = sectionNumber(section);
  if (number) core_->router.refuseSection(*number, status);
  return number.has_value();
}

bool SampleServer::setListShape(std::string_view section, ListShape shape) {
  const auto number = sectionNumber(section);
  if (number) core_->router.setListShape(*number, shape);
  return number.has_value();
}

bool SampleServer::setTotalCount(std::string_view section, bool shown) {
  const auto number = sectionNumber(section);
  if (number) core_->router.setTotalCount(*number, shown);
  return number.has_value();
}

void SampleServer::setPrivilegesInAuth(bool shown) { core_->router.setPrivilegesInAuth(shown); }
void SampleServer::setMobileDetailList(bool served) { core_->router.setMobileDetailList(served); }
void SampleServer::refuseClassicDevices(int status) { core_->router.refuseClassicDevices(status); }
Dialect& SampleServer::dialect() { return core_->dialect; }
void SampleServer::setPackageSizeShape(PackageSizeShape shape) { core_->fleet.setPackageSizeShape(shape); }
FaultRules& SampleServer::faults() { return core_->faults; }
void SampleServer::setDelay(std::chrono::microseconds delay) { core_->exchange.setDelay(delay); }
void SampleServer::setRequestHook(RequestHook hook) { core_->exchange.setHook(std::move(hook)); }
RequestLog& SampleServer::log() { return core_->log; }
int SampleServer::inFlight() const { return core_->log.inFlight(); }
int SampleServer::maxInFlight() const { return core_->log.maxInFlight(); }

}  // namespace sample
