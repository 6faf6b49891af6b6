#include <algorithm>
#include <chrono>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/keys.h"

namespace toolkit {

namespace {

// Whether the row begins with the letters of `plain`, regardless of case and accents.
bool BeginsWith(std::u16string_view row, std::u16string_view plain) {
  std::u16string letters;
  for (; !plain.empty() && !row.empty(); row.remove_prefix(1)) {
    letters.clear();
    text::AppendPlain(letters, row[0]);
    const std::size_t both = std::min(letters.size(), plain.size());
    if (plain.substr(0, both) != std::u16string_view(letters).substr(0, both)) {
      return false;
    }
    plain.remove_prefix(both);
  }
  return plain.empty();
}

// A word begins after what is neither a letter nor a digit.
bool HasWord(std::u16string_view row, std::u16string_view plain) {
  const char16_t first = plain[0];
  char16_t small = first;
  if (first >= u'A' && first <= u'Z') {
    small += u'a' - u'A';
  }
  char16_t before = u' ';
  for (std::size_t i = 0; i < row.size(); before = row[i++]) {
    const char16_t c = row[i];
    if ((c == first || c == small || c >= 0x80) &&
        (before < u'0' || (before > u'9' && before < u'A')) && BeginsWith(row.substr(i), plain)) {
      return true;
    }
  }
  return false;
}

}  // namespace

void ListBox::Reset(const Design& design) {
  Control::Reset(design);
  Clear();
  SetSearch(0, 0);
  sought_.clear();
}

void ListBox::AddItem(std::u16string_view row) {
  if (static_cast<std::size_t>(count_ / kBlockRows) == blocks_.size()) {
    auto block = std::make_unique<Block>();
    block->ends.reserve(kBlockRows);
    if (!blocks_.empty()) {  // rows of one list are mostly alike
      block->text.reserve(blocks_.back()->text.size());
    }
    blocks_.push_back(std::move(block));
  }
  Block& block = *blocks_.back();
  block.text += row;
  block.ends.push_back(static_cast<std::uint32_t>(block.text.size()));
  if (row.size() > widest_) {
    widest_ += text::TrimRight(row.substr(widest_)).size();
  }
  ++count_;
  ++revision_;
  Touch();
}

void ListBox::Clear() {
  // A list is mostly filled again at once.
  blocks_.resize(std::min<std::size_t>(blocks_.size(), 1));
  for (const auto& block : blocks_) {
    block->text.clear();
    block->ends.clear();
  }
  count_ = 0;
  widest_ = 0;
  list_index_ = from_ = -1;
  gone_ = false;
  top_index_ = 0;
  searching_ = false;
  ++revision_;
  Touch();
}

std::u16string_view ListBox::List(int row) const {
  if (row == -1) {
    return {};
  }
  if (row < 0 || row >= count_) {
    throw Misuse("no such row of a list box");
  }
  const Block& block = *blocks_[static_cast<std::size_t>(row / kBlockRows)];
  const auto i = static_cast<std::size_t>(row % kBlockRows);
  const std::size_t start = i == 0 ? 0 : block.ends[i - 1];
  return std::u16string_view(block.text).substr(start, block.ends[i] - start);
}

bool ListBox::Wide() const {
  constexpr int kCharacter = 99;  // twips, of the fixed-pitch font
  int room = Width() - 4 * kInset;
  if (count_ > RowsIn(0)) {
    room -= kBar;
  }
  return static_cast<int>(widest_) * kCharacter > room;
}

void ListBox::SetTopIndex(int row) {
  Assign(top_index_, std::clamp(row, 0, std::max(0, count_ - VisibleRows())));
}

int ListBox::TopToShow(int row) const {
  return std::clamp(top_index_, row - std::max(1, VisibleRows()) + 1, row);
}

void ListBox::GoOnFrom(int row, bool gone) {
  from_ = row;
  gone_ = gone;
}

void ListBox::SetSearch(int column, int firstRow) {
  search_column_ = column;
  search_first_ = firstRow;
}

void ListBox::Select(int row) {
  searching_ = false;
  Assign(list_index_, row);
  SetTopIndex(TopToShow(row));
  if (Click) {
    Click();
  }
}

void ListBox::OnClick(int /*caret*/) { TakeFocus(); }

std::u16string ListBox::Copied(Choice choice, int row) const {
  if (choice == Choice::CopyRow) {
    return std::u16string(text::Trim(List(row)));
  }
  if (choice == Choice::Copy) {
    row = list_index_;
  }
  if (row < 0 || !Code) {
    return {};
  }
  return Code(row);
}

std::vector<MenuEntry> ListBox::Menu(int row) const {
  if (row < 0 || row >= count_) {
    return {};
  }
  std::vector<MenuEntry> entries;
  entries.reserve(RowCommands.size() + 2);
  const bool chosen = row == list_index_ && Usable();
  for (const RowCommand& command : RowCommands) {
    MenuEntry entry{Choice::Open, command.caption, chosen, command.button};
    if (command.button != nullptr) {
      entry.choice = Choice::Press;
      entry.enabled = chosen && command.button->CanFocus();
    }
    entries.push_back(entry);
  }
  entries.push_back({Choice::CopyCode, u"Copia &codice", !Copied(Choice::CopyCode, row).empty()});
  entries.push_back({Choice::CopyRow, u"Copia &riga", true});
  return entries;
}

void ListBox::OnKey(const KeyStroke& stroke) {
  const int page = std::max(1, VisibleRows() - 1);
  if (stroke.key != Key::Character && stroke.key != Key::Backspace && stroke.key != Key::F3) {
    searching_ = false;
  }
  switch (stroke.key) {
    case Key::Character:
      if (!stroke.text.empty() && !text::IsControl(stroke.text[0])) {
        Find(stroke.text[0]);
      }
      break;
    case Key::Backspace:
      TakeBack();
      break;
    case Key::F3:
      FindAgain(stroke.shift);
      break;
    case Key::Enter:  // a double click without the mouse
      if (list_index_ >= 0 && DblClick) {
        DblClick();
      }
      break;
    case Key::Up:
    case Key::Left:
      Step(-1);
      break;
    case Key::Down:
    case Key::Right:
      Step(1);
      break;
    case Key::PageUp:
      Step(-page);
      break;
    case Key::PageDown:
      Step(page);
      break;
    case Key::Home:
      Step(-count_);
      break;
    case Key::End:
      Step(count_);
      break;
    default:
      break;
  }
}

// Selects the row so many further on, or the last one on the way there.
void ListBox::Step(int rows) {
  if (count_ == 0) {
    return;
  }
  int from = GoesOnFrom();
  if (rows > 0) {
    from = Here();
  }
  if (const int row = std::clamp(from + rows, 0, count_ - 1); row != list_index_) {
    Select(row);
  }
}

// The next row in that direction, and round the end, that begins with the letters, or in which
// a word does; `from` itself comes last. -1 if there is none.
int ListBox::Searched(int from, int direction, std::u16string_view letters, bool words) const {
  for (int i = 1; i <= count_; ++i) {
    const int row = ((from + direction * i) % count_ + count_) % count_;
    const std::u16string_view text = List(row);
    const auto column = std::min(static_cast<std::size_t>(search_column_), text.size());
    if ((words && HasWord(text, letters)) ||
        (!words && row >= search_first_ && BeginsWith(text.substr(column), letters))) {
      return row;
    }
  }
  return -1;
}

// Words count only where no row begins so.
int ListBox::Searched(int from, int direction, std::u16string_view letters) const {
  const int row = Searched(from, direction, letters, false);
  if (row >= 0) {
    return row;
  }
  return Searched(from, direction, letters, true);
}

bool ListBox::Searching() const {
  if (!searching_) {
    return false;
  }
  const std::chrono::milliseconds since = TimeOfDay() - searched_at_;
  return since.count() >= 0 && since < kSearchPause;
}

std::u16string_view ListBox::Sought() const {
  return std::u16string_view(sought_).substr(0, first_ ? 1 : sought_.npos);
}

// Goes to the row that was found, or stays where none was; the search goes on.
void ListBox::Show(int row) {
  if (row >= 0 && row != list_index_) {
    SetTopIndex(row - VisibleRows() / 2);
    Select(row);
  }
  searching_ = true;
  found_ = row >= 0;
  searched_at_ = TimeOfDay();
}

// The selected row, or the one from which keys go on; the row before that where its own has gone.
int ListBox::Here() const {
  int here = GoesOnFrom();
  if (list_index_ < 0 && gone_) {
    --here;
  }
  return std::max(-1, here);
}

void ListBox::Find(char16_t c) {
  if (!Searching()) {
    if (c == u' ') {
      return;
    }
    sought_.clear();
  }
  text::AppendPlain(sought_, c);
  if (sought_.empty()) {
    return;
  }
  // A search of several letters may stay where it is; the same letter again goes
  // on to the next row that begins with it.
  const int here = Here();
  const bool repeated = sought_.find_first_not_of(sought_[0]) == sought_.npos;
  const std::u16string_view letters = sought_;
  int row = -1;
  for (const bool words : {false, true}) {
    int next = -1;
    if (repeated) {
      next = Searched(here, 1, letters.substr(0, 1), words);
    }
    if (letters.size() > 1 && repeated == (next >= 0)) {
      row = Searched(std::max(-1, here - 1), 1, letters, words);
    }
    first_ = row < 0 && next >= 0;
    if (row < 0) {
      row = next;
    }
    if (row >= 0) {
      break;
    }
  }
  Show(row);
}

void ListBox::TakeBack() {
  if (!Searching()) {
    return;
  }
  sought_.resize(Sought().size() - 1);
  first_ = false;
  if (sought_.empty()) {
    searching_ = false;
  } else {
    Show(Searched(std::max(-1, Here() - 1), 1, sought_));
  }
}

void ListBox::FindAgain(bool backwards) {
  if (sought_.empty()) {
    return;
  }
  if (backwards) {
    Show(Searched(std::max(0, GoesOnFrom()), -1, Sought()));
  } else {
    Show(Searched(Here(), 1, Sought()));
  }
}

}  // namespace toolkit
