#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/// One object of the corpus: a file of a tree, "<section>/<id>.json".
struct CorpusFile {
  std::string section;
  std::string id;
  std::filesystem::path path;
};

/// The sample fleet's records as files, the same bytes for every store: indented as the canonical form is,
/// but with their members in the server's order, so that our store has them to sort and nobody stores a byte
/// less.
///
/// Writes `count` files below `tree` in generation 0, and in each later one (up to 99) the hundredth part of
/// them that changed since. Returns how many bytes it wrote.
std::size_t writeCorpus(const std::filesystem::path& tree, std::size_t count, std::size_t generation);

/// The files of a tree, by section and then by ID.
std::vector<CorpusFile> corpusFiles(const std::filesystem::path& tree);

}  // namespace bench
