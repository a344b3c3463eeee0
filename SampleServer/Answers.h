#pragma once

#include <string_view>

#include "Platform/Bytes.h"
#include "SampleServer/HTTPMessage.h"

/// The answers that both programming interfaces of a server share. Failures look as real ones do: JSON from
/// the Pro interface, HTML pages from the Classic one.
namespace sample {

/// A JSON body of the Pro interface.
Answer proAnswer(platform::Bytes body);
/// A JSON body of the Classic interface, which calls it plain text.
Answer classicAnswer(platform::Bytes body);

/// What the Classic interface says to a write, in XML whatever was asked for: `<policy><id>42</id></policy>`
/// for that root; without an id an empty root.
Answer classicWritten(int status, std::string_view root, std::string_view id);

/// `code` empty: the list of errors is empty.
Answer proFailure(int status, std::string_view code, std::string_view description,
                  std::string_view field = {});
Answer classicFailure(int status, std::string_view title, std::string_view sentence);

/// A failure of that status in the form of the interface that the path belongs to. `path` has no leading
/// slash.
Answer failureFor(std::string_view path, int status);

}  // namespace sample
