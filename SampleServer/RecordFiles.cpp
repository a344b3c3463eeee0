#include "SampleServer/RecordFiles.h"

#include <fmt/format.h>

#include <iterator>

#include "Platform/JSON/Writer.h"

namespace sample {

using platform::Bytes;
using platform::DigestAlgorithm;
using platform::json::appendString;

namespace {

void appendMember(Bytes& out, std::string_view key, std::string_view text) {
  fmt::format_to(std::back_inserter(out), "\"{}\":", key);
  appendString(out, text);
}

/// The older members have a value where it is of their type.
struct OlderHash {
  std::string_view key;
  std::string_view type;
  std::string_view valueIn(const PackageClaim& claim) const {
    return claim.hashType == type ? std::string_view(claim.hashValue) : std::string_view();
  }
};
constexpr OlderHash olderHashes[] = {{"md5", "MD5"}, {"sha256", "SHA_256"}, {"sha3512", "SHA3_512"}};

void appendHashes(Bytes& out, const PackageClaim& claim) {
  for (const OlderHash& hash : olderHashes) {
    appendMember(out, hash.key, hash.valueIn(claim));
    out += ',';
  }
  appendMember(out, "hashType", claim.hashType);
  out += ',';
  appendMember(out, "hashValue", claim.hashValue);
}

}  // namespace

void appendPackageMembers(Bytes& out, RecordContext& context, std::string_view which) {
  const PackageShelf& shelf = context.fleet.shelf();
  if (which == "fileName") return appendMember(out, which, shelf.fileName(context.index));
  const PackageClaim claim = shelf.claim(context.index);
  if (which != "size") return appendHashes(out, claim);
  if (claim.size) return appendMember(out, which, *claim.size);
  out += "\"size\":null";
}

void setPackageMembers(platform::json::Value& record, const PackageClaim& claim) {
  record.set("fileName", claim.fileName);
  for (const OlderHash& hash : olderHashes) record.set(hash.key, hash.valueIn(claim));
  record.set("hashType", claim.hashType);
  record.set("hashValue", claim.hashValue);
  record.set("size", claim.size ? platform::json::Value(*claim.size) : platform::json::Value());
}

void appendCloudFileMembers(Bytes& out, RecordContext& context) {
  const PackageShelf& shelf = context.fleet.shelf();
  const auto file = shelf.file(context.id);
  appendMember(out, "fileName", file->name);
  fmt::format_to(std::back_inserter(out), ",\"length\":{},", file->content.size);
  appendMember(out, "md5", *shelf.digest(file->name, DigestAlgorithm::md5));
  out += ',';
  appendMember(out, "sha3", madeUpHash(file->content.key, 128));
}

void appendHTTPShareMembers(Bytes& out, RecordContext& context) {
  const bool whole = context.index == 0;
  const bool parts = context.index == 1;
  const bool guarded = context.index == 2;
  constexpr std::string_view contexts[] = {"JamfShare", "/JamfShare/", "JamfShare/"};
  fmt::format_to(std::back_inserter(out), "\"http_downloads_enabled\":{},", whole || parts || guarded);
  if (!parts) {
    fmt::format_to(std::back_inserter(out), "\"http_url\":\"http://127.0.0.1:{}/JamfShare/\",",
                   context.fleet.port());
  }
  fmt::format_to(std::back_inserter(out),
                 "\"context\":\"{}\",\"protocol\":\"http\",\"port\":{},\"no_authentication_required\":{},"
                 "\"username_password_required\":{},\"http_username\":\"{}\"",
                 contexts[context.index % std::size(contexts)], context.fleet.port(), !guarded, guarded,
                 guarded ? "reader" : "");
}

}  // namespace sample
