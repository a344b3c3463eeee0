#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIError.h"
#include "JamfCore/Networking/Endpoint.h"
#include "JamfCore/Networking/JamfRequesting.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

struct GroupMemberDevice;

/// The one door to a Jamf Pro server: puts the bearer token on a request, answers a 401 with one forced token
/// refresh and one repeat, turns a 429 into `rateLimited`, decodes JSON and uploads files. Paging, pacing and
/// all other repeats stand above it.
///
/// It holds no state that changes. Any thread may call, at once too; calls block on the network, and a stop
/// ends them at once, as the transport error that every failed transfer is.
///
/// Throws `APIError`. What the token manager's secret provider throws passes through untouched.
class APIClient : public JamfRequesting {
 public:
  /// Sees every answer but those to uploads, whatever its status, before anything is made of it. Called on
  /// the thread that asked; must not throw.
  using OnAnswer = std::function<void(const Endpoint& endpoint, const platform::HTTPResponse& answer)>;

  /// `baseURL` may be anything; what is no URL fails each request. Uploads run in a session of the client's
  /// own, configured like `urlSession` but for its total time of 1800 seconds. `onAnswer` may be empty.
  APIClient(std::string baseURL, std::shared_ptr<OAuthTokenManager> tokenManager,
            std::shared_ptr<platform::HTTPSession> urlSession, OnAnswer onAnswer = {});

  /// Sends; the answer's body is ignored.
  void send(const Endpoint& endpoint, const std::stop_token& stop = {});
  /// The same, and once more with `fallbackPath` as path when the server answers 404 exactly: for servers
  /// that have the resource under an older version of its path.
  void send(const Endpoint& endpoint, const std::string& fallbackPath, const std::stop_token& stop = {});

  /// Sends and gives the answer's body as it came.
  platform::Bytes sendForBytes(const Endpoint& endpoint, const std::stop_token& stop = {});

  /// Sends and decodes the answer.
  template <class T>
  T send(const Endpoint& endpoint, const std::stop_token& stop = {}) {
    return decode<T>(sendRaw(endpoint, false, stop), endpoint.shownPath());
  }
  template <class T>
  T send(const Endpoint& endpoint, const std::string& fallbackPath, const std::stop_token& stop = {}) {
    try {
      return send<T>(endpoint, stop);
    } catch (const APIError& error) {
      if (!isNotFound(error)) throw;
    }
    return send<T>(withPath(endpoint, fallbackPath), stop);
  }

  /// A request body; what can't be encoded is `decodingFailed` too.
  template <class T>
  platform::Bytes encode(const T& value) const {
    try {
      return encoder_.encode(value);
    } catch (const tuv::Error& error) {
      throw APIError::decodingFailed(error.description());
    }
  }

  using OnProgress = std::function<void(double)>;

  /// Posts a file as multipart form data and decodes the answer. The file is streamed from disk, never held
  /// in memory whole. A 401 and a 429 are `requestFailed` here: nothing is repeated. Throws
  /// `platform::files::FileError` too, when the source can't be read. For `onProgress`, which may be empty,
  /// see `UploadProgressDelegate`.
  template <class T>
  T uploadFile(const std::string& path, const std::string& fieldName, const std::filesystem::path& fileURL,
               const OnProgress& onProgress = {}, const std::stop_token& stop = {}) {
    return decode<T>(upload(path, fieldName, fileURL, onProgress, stop), path);
  }

  /// The members of a computer group, smart or static, by the Classic API, which alone tells both. Include
  /// "JamfCore/Networking/GroupMemberDevice.h".
  std::vector<GroupMemberDevice> classicGroupMembers(const std::string& groupID,
                                                     const std::stop_token& stop = {});

  platform::Bytes get(const std::string& path, const std::vector<QueryItem>& query,
                      const std::stop_token& stop) override;

 private:
  platform::Bytes sendRaw(const Endpoint& endpoint, bool isRetry, const std::stop_token& stop);
  platform::HTTPResponse transfer(const Endpoint& endpoint, std::string_view token,
                                  const std::stop_token& stop);
  platform::Bytes upload(const std::string& path, const std::string& fieldName,
                         const std::filesystem::path& fileURL, const OnProgress& onProgress,
                         const std::stop_token& stop);
  platform::HTTPRequest request(const Endpoint& endpoint, std::string_view token) const;

  static bool isNotFound(const APIError& error);
  static Endpoint withPath(Endpoint endpoint, const std::string& path);
  [[noreturn]] static void failDecoding(std::string_view type, const std::string& path,
                                        const std::string& problem);

  template <class T>
  T decode(const platform::Bytes& bytes, const std::string& path) const {
    try {
      return decoder_.decode<T>(bytes);
    } catch (const tuv::Error& error) {
      failDecoding(typeName<T>(), path, error.description());
    }
  }

  /// The name of T as the compiler writes it.
  template <class T>
  static std::string_view typeName() {
    std::string_view text = __PRETTY_FUNCTION__;
    text.remove_prefix(text.find("T = ") + 4);
    return text.substr(0, text.find_first_of(";]"));
  }

  const std::string baseURL_;
  const std::shared_ptr<OAuthTokenManager> tokenManager_;
  const std::shared_ptr<platform::HTTPSession> urlSession_;
  const std::unique_ptr<platform::HTTPSession> uploadSession_;
  const platform::json::Decoder decoder_{};
  const platform::json::Encoder encoder_{platform::json::Rendering::compact};
  const OnAnswer onAnswer_;
};

}  // namespace jamf
