// Rows in the order of a telephone book. Internal to the engine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

// Sorts rows, each by the same number of texts: by their letters, regardless of case, accents and
// the blanks around a text; where these are equal, by the exact texts; where those are equal too,
// in the order in which they were added. Keeps a key of about the texts' own size for each row.
// Rows that come nearly in order, as from an index on the texts, cost no more than the keys.
class NameOrder {
 public:
  // Begins a row. AddText adds its texts, in UTF-8.
  void AddRow(std::int64_t row);
  void AddText(std::string_view text);

  // The rows in order. Nothing can be added afterwards.
  std::vector<std::int64_t> Sorted();

 private:
  struct Entry {
    std::int64_t row;
    std::size_t key;  // begins here in keys_ and ends with the next one
  };

  void EndRow();
  std::string_view Key(std::size_t entry) const;
  bool Before(std::size_t a, std::size_t b) const;

  std::vector<Entry> entries_;
  std::string keys_;
  std::string exact_;                // the last row's texts as they are
  bool differs_ = false;             // whether one of these isn't its own plain form
  std::size_t greatest_ = 0;         // of the entries in order
  std::vector<std::size_t> others_;  // the entries out of order
};

}  // namespace engine
