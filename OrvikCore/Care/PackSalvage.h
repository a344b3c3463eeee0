#pragma once

#include <filesystem>
#include <functional>
#include <stop_token>
#include <string_view>
#include <vector>

#include "OrvikCore/Care/ContentProof.h"
#include "OrvikCore/Store/PackIndex.h"

namespace orvik {

/// Whether plain bytes of that name are an object: what proves nothing but its own digest could be anything.
using IsWanted = std::function<bool(const ObjectKey& key, std::string_view bytes)>;

/// Finds the entries of a pack whose index is lost. A pack has no framing, so entries are looked for where
/// one can begin (the magic of sealed content, or the outermost bracket of a document at the begin of a line
/// or behind another entry) up to where it can end, and count only when they prove themselves: sealed ones by
/// opening, plain ones when they are wanted. What is damaged is passed over.
///
/// Entries come in the order in which they lie, without overlap. The pack is read in pieces; an entry longer
/// than 64 MiB is not found. Throws `platform::files::FileError` for a pack that can't be opened, and
/// `platform::CancellationError`.
std::vector<PackObjects::Entry> salvagePack(const std::filesystem::path& pack, const ContentProof& proof,
                                            const IsWanted& isWanted, const std::stop_token& stop = {});

}  // namespace orvik
