// What is printed, as plain data; the screen lays it out on pages.
#pragma once

#include <string>
#include <vector>

namespace toolkit {

struct Column {
  std::u16string title;
  int characters = 0;  // its width; 0: what the others leave
  bool code = false;   // in fixed pitch
  bool right = false;  // aligned at its right edge
};

// A label with its value.
struct Item {
  std::u16string label, value;
  bool code = false;           // the value is one, in fixed pitch
  std::u16string description;  // of the code
};

struct Block {
  std::u16string title;
  std::vector<Item> items;
};

// Blocks or a table, under a heading. Texts of any length: what is too long for its place
// goes on in further lines.
struct Document {
  std::u16string name;  // proposed for a file, without its ending
  std::u16string program, title;
  std::vector<std::u16string> lines;  // under the title
  std::vector<Block> blocks;
  std::vector<Column> columns;
  std::vector<std::u16string> cells;  // row by row, as many in each as there are columns
  std::u16string closing;             // under the table
};

}  // namespace toolkit
