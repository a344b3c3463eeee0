// Our side of compare-search, which runs it: searches the newest backup of an instance folder for a word, the
// first time with nothing in memory, and then again and again.
//   SearchBench FOLDER QUERY ROUNDS    prints "first SECONDS", ROUNDS times "again SECONDS", and "hits COUNT"
#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>

#include "OrvikCore/Explore/BackupReader.h"
#include "bench/Measure.h"

using namespace orvik;

namespace {

BackupReader newestOf(const BackupRepository& repository) {
  const auto newest = repository.latestComplete();
  if (!newest) throw std::runtime_error("the folder has no backup");
  return {repository, newest->id};
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    fmt::print(stderr, "SearchBench is run by compare-search\n");
    return 1;
  }
  const BackupRepository repository(arguments[1]);
  std::optional<BackupReader> reader;
  std::size_t hits = 0;
  const auto search = [&] {
    if (!reader) reader = newestOf(repository);
    hits = reader->searchContents(arguments[2], std::numeric_limits<std::size_t>::max()).size();
  };
  fmt::print("first {:.6f}\n", bench::secondsOf(search));
  for (int round = std::atoi(arguments[3]); round > 0; --round)
    fmt::print("again {:.6f}\n", bench::secondsOf(search));
  fmt::print("hits {}\n", hits);
}
