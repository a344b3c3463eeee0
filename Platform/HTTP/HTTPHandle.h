#pragma once

#include "Platform/HTTP/HTTPTransfer.h"

/// The mapping between our transfers and the options and results of the library's handles. Only the loop's
/// thread calls.
namespace platform::detail {

/// What all handles of a session have in common.
struct HTTPHandleSettings {
  const HTTPSessionConfiguration* configuration = nullptr;
  void* share = nullptr;           ///< cookies and TLS sessions
  void* connectToLines = nullptr;  ///< the library's list of connect-to entries, or null
};

/// Sets the transfer's handle, fresh or reset, up for its request. False, with `failure` set, for a request
/// that can't be sent.
bool prepare(HTTPTransfer& transfer, const HTTPHandleSettings& settings);

/// Whether a request of this kind follows redirects.
bool followsRedirects(const HTTPRequest& request);

/// Takes status and body room, or the failure that `code` (the library's) stands for, into the transfer.
void conclude(HTTPTransfer& transfer, int code);

/// The failure of a transfer that the loop itself ended.
HTTPError cancelledError(const HTTPTransfer& transfer);
HTTPError idleError(const HTTPTransfer& transfer);
HTTPError totalTimeError(const HTTPTransfer& transfer);

}  // namespace platform::detail
