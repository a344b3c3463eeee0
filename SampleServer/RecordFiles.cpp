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
void appendHashes(Bytes& out, const PackageClaim& claim) {
  const auto valueFor = [&](std::string_view type) {
    return claim.hashType == type ? std::string_view(claim.hashValue) : std::string_view();
  };
  appendMember(out, "md5", valueFor("MD5"));
  out += ',';
  appendMember(out, "sha256", valueFor("SHA_256"));
  out += ',';
  appendMember(out, "sha3512", valueFor("SHA3_512"));
  out += ',';
  appendMember(out, "hashType", claim.hashType);
  out += ',';
  appendMember(out, "hashValue", claim.hashValue);
}

}  // namespace

void appendPackageMembers(Bytes& out, RecordContext& context, std::string_view which) {
  const PackageShelf& shelf = context.fleet.shelf();
  if (which == "fileName") return appendMember(out, which, shelf.fileName(context.index));
  const PackageClaim claim = shelf.claim(context.index);
  if (which == "size") return appendMember(out, which, claim.size);
  appendHashes(out, claim);
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
