#pragma once

#include <stop_token>
#include <utility>

#include "JamfCore/Tools/MCP/HTTPMessage.h"
#include "Platform/SecretString.h"
#include "orvik/Browse/BrowseAnswers.h"

namespace orvik::host {

/// The explorer's side of HTTP: GET of the page's own files, which tell nothing and are there for all, and of
/// "/api/…" for who has the token. A request that was sent to another host's name is refused. Nothing that is
/// answered may be kept or shown by another site. Any thread may call.
class BrowseEndpoint {
 public:
  /// `answers` and `token` outlive it.
  BrowseEndpoint(const BrowseAnswers& answers, const platform::SecretString& token, std::stop_token stop)
      : answers_(answers), token_(token), stop_(std::move(stop)) {}

  /// What fails is told as `{"message":…}`. Throws `platform::CancellationError` when the server stops
  /// meanwhile.
  jamf::HTTPResponse answer(const jamf::HTTPRequest& request) const;

 private:
  jamf::HTTPResponse answerUnguarded(const jamf::HTTPRequest& request) const;
  jamf::HTTPResponse told(const jamf::HTTPRequest& request) const;

  const BrowseAnswers& answers_;
  const platform::SecretString& token_;
  const std::stop_token stop_;
};

}  // namespace orvik::host
