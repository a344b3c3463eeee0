#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/View.h"

/// What a search looks through, and what it shows of it.
namespace orvik::searchText {

/// Excerpts of one object, and of one hit.
inline constexpr std::size_t mostExcerpts = 3;

/// A text as searches compare it: in lower case, accented letters as one character.
std::string folded(std::string_view text);

/// All texts and numbers of a JSON document, folded, a line each; keys, truth values and nulls play no part.
/// Throws `platform::json::ParseError`.
std::string of(const platform::Bytes& json);

/// Where the leaves of a value contain `needle`, in whatever case: "Path: …text…", the first three.
std::vector<std::string> excerpts(platform::json::View value, std::string_view needle);

}  // namespace orvik::searchText
