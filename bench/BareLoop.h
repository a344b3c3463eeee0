#pragma once

#include <string>
#include <vector>

namespace bench {

/// The least that a client can do: gets all URLs with so many transfers at a time on one libcurl multi loop,
/// and throws the bodies away. Throws when one of them is not answered with 200.
void getAll(const std::vector<std::string>& urls, const std::string& token, int width);

/// The same for groups, one behind the other, with the same connections.
void getAll(const std::vector<std::vector<std::string>>& groups, const std::string& token, int width);

/// A bearer token of the sample server.
std::string fetchToken(const std::string& url, const std::string& clientID, const std::string& clientSecret);

}  // namespace bench
