#pragma once

#include "Platform/HTTP/HTTPTransfer.h"

/// How the answer of a streamed transfer gets to its delegate. Only the loop's thread calls.
namespace platform::detail {

/// Hands the head over unless that was done; `headEnded` must hold. False, with `failure` set, when the
/// delegate wants no more.
bool passHeadOn(HTTPTransfer& transfer);

/// Whether the head that just ended is the answer's own: no interim one, and none of a redirect that will be
/// followed.
bool isFinalHead(const HTTPTransfer& transfer);

/// Takes a piece of the body, and hands on what was gathered once that is worth a call. False, with `failure`
/// set, when the delegate wants no more.
bool gather(HTTPTransfer& transfer, std::string_view bytes);

/// Hands on what was gathered. False, with `failure` set, when the delegate wants no more.
bool passBytesOn(HTTPTransfer& transfer);

}  // namespace platform::detail
