#pragma once

#include <filesystem>
#include <span>
#include <stop_token>
#include <string>

#include "OrvikCore/Store/ObjectStore.h"
#include "OrvikCore/Store/References.h"

namespace orvik {

/// Writes the entries of a pack whose names are in `keep` into a new pack of `store`'s instance folder. True
/// when all of them lie, intact, in another pack by then, so that this one can go; false, with nothing lost,
/// when the pack can't be read or one of them is damaged. `indexNames` are those of the folder, ascending.
/// The caller holds the folder's lock.
///
/// A rewrite that was broken off before the old pack went is taken up, and one that came out short is not
/// repeated as long as it could gain nothing. Throws `platform::files::FileError` and
/// `platform::CancellationError`.
bool rewritePack(const ObjectStore& store, const std::filesystem::path& index,
                 std::span<const std::string> indexNames, const NameSet& keep, const std::stop_token& stop);

}  // namespace orvik
