// Our side of compare-search, which runs it: searches the newest backup of an instance folder for a word, the
// first time with nothing in memory, and then again and again.
//   SearchBench FOLDER QUERY ROUNDS    prints "first SECONDS", ROUNDS times "again SECONDS", and "hits COUNT"
#include <fmt/format.h>

#include <cstdlib>
#include <limits>
#include <stdexcept>

#include "OrvikCore/Explore/BackupReader.h"
#include "bench/Measure.h"

using namespace orvik;

namespace {

std::size_t search(const BackupRepository& repository, const char* query) {
  const auto newest = repository.latestComplete();
  if (!newest) throw std::runtime_error("the folder has no backup");
  const BackupReader reader(repository, newest->id);
  return reader.searchContents(query, std::numeric_limits<std::size_t>::max()).size();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    fmt::print(stderr, "SearchBench is run by compare-search\n");
    return 1;
  }
  const BackupRepository repository(arguments[1]);
  std::size_t hits = 0;
  const auto timed = [&] { return bench::secondsOf([&] { hits = search(repository, arguments[2]); }); };
  fmt::print("first {:.6f}\n", timed());
  for (int round = std::atoi(arguments[3]); round > 0; --round) fmt::print("again {:.6f}\n", timed());
  fmt::print("hits {}\n", hits);
}
