#include "platform/engine/name_order.h"

#include <algorithm>

#include "platform/text/text.h"

namespace engine {

namespace {

constexpr char kEnd = '\0';  // of a text in a key; comes before every character

// True for most names, which are capitals, blanks and apostrophes.
bool IsItsPlainForm(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= 'Z'; });
}

std::string PlainForm(std::string_view text) {
  std::u16string plain;
  for (const char16_t c : text::FromUtf8(text)) {
    text::AppendPlain(plain, c);
  }
  return text::ToUtf8(plain);
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
  return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

}  // namespace

void NameOrder::AddRow(std::int64_t row) {
  EndRow();
  entries_.push_back({row, keys_.size()});
}

void NameOrder::AddText(std::string_view text) {
  const std::string_view name = Trimmed(text);
  if (IsItsPlainForm(name)) {
    keys_ += name;
  } else {
    keys_ += PlainForm(name);
    differs_ = true;
  }
  keys_ += kEnd;
  exact_.append(name) += kEnd;
}

// Of texts with the same plain form, the one that is its own plain form comes first: its key
// needs no exact text.
void NameOrder::EndRow() {
  if (entries_.empty()) {
    return;
  }
  if (differs_) {
    keys_ += exact_;
  }
  exact_.clear();
  differs_ = false;
  const std::size_t last = entries_.size() - 1;
  if (Before(last, greatest_)) {
    others_.push_back(last);
  } else {
    greatest_ = last;
  }
}

std::string_view NameOrder::Key(std::size_t entry) const {
  const std::size_t begin = entries_[entry].key;
  std::size_t end = keys_.size();
  if (entry + 1 < entries_.size()) {
    end = entries_[entry + 1].key;
  }
  return std::string_view(keys_).substr(begin, end - begin);
}

bool NameOrder::Before(std::size_t a, std::size_t b) const {
  const int order = Key(a).compare(Key(b));
  return order < 0 || (order == 0 && a < b);
}

std::vector<std::int64_t> NameOrder::Sorted() {
  EndRow();
  std::vector<std::size_t> order;
  order.reserve(entries_.size());
  for (std::size_t entry = 0, other = 0; entry < entries_.size(); ++entry) {
    if (other < others_.size() && others_[other] == entry) {
      ++other;
    } else {
      order.push_back(entry);
    }
  }
  const auto before = [this](std::size_t a, std::size_t b) { return Before(a, b); };
  std::ranges::sort(others_, before);
  const auto middle = order.insert(order.end(), others_.begin(), others_.end());
  std::inplace_merge(order.begin(), middle, order.end(), before);
  std::vector<std::int64_t> rows;
  rows.reserve(order.size());
  for (const std::size_t entry : order) {
    rows.push_back(entries_[entry].row);
  }
  return rows;
}

}  // namespace engine
