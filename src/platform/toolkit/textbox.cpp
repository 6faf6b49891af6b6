#include <algorithm>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/keys.h"

namespace toolkit {

namespace {

constexpr char16_t kBackspace = CodeOf(Key::Backspace);

int Length(std::u16string_view s) { return static_cast<int>(s.size()); }

// The first line of what the clipboard holds, without control characters.
std::u16string SingleLine(std::u16string_view clipboard) {
  std::u16string line;
  for (const char16_t c : clipboard) {
    if (c == u'\r' || c == u'\n' || c == 0x2028 || c == 0x2029) {
      break;
    }
    if (!text::IsControl(c)) {
      line.push_back(c);
    }
  }
  return line;
}

// Without what shows as nothing at its ends.
std::u16string_view Bare(std::u16string_view s) {
  const auto empty = [](char16_t c) { return c == u' ' || c == 0xA0 || text::IsControl(c); };
  while (!s.empty() && empty(s.front())) s.remove_prefix(1);
  while (!s.empty() && empty(s.back())) s.remove_suffix(1);
  return s;
}

}  // namespace

void TextBox::Reset(const Design& design) {
  Control::Reset(design);
  text_ = design.Caption;
  maxLength_ = design.MaxLength;
  locked_ = design.Locked;
  masked_ = design.Masked;
  trims_ = design.Trims;
  selStart_ = selLength_ = 0;
  activeAtStart_ = canUndo_ = typing_ = false;
}

void TextBox::SetText(std::u16string_view text) {
  if (text_ == text) {
    return;
  }
  text_ = text;
  selStart_ = selLength_ = 0;
  canUndo_ = typing_ = false;
  Touch();
  if (Change) {
    Change();
  }
}

void TextBox::SetSelStart(int offset) {
  selStart_ = std::clamp(offset, 0, Length(text_));
  selLength_ = 0;
  activeAtStart_ = typing_ = false;
  Touch();
}

void TextBox::SelectAll() {
  MoveCaret(0, false);
  MoveCaret(Length(text_), true);
}

void TextBox::OnClick(int caret) {
  const bool came = !HasFocus();
  if (!TakeFocus() || (came && masked_)) {
    return;
  }
  SetSelStart(caret);
  if (selStart_ > 0) {  // never amid a character of two units
    SetSelStart(StepRight(StepLeft(selStart_)));
  }
}

std::u16string TextBox::Copied(Choice /*choice*/, int /*row*/) const {
  if (!HasFocus()) {
    return text_;
  }
  return text_.substr(static_cast<std::size_t>(selStart_), static_cast<std::size_t>(selLength_));
}

std::vector<MenuEntry> TextBox::Menu(int /*row*/) const {
  if (!Enabled()) {
    return {{Choice::Copy, u"&Copia", !text_.empty()}};
  }
  const bool open = !locked_ && !masked_, selection = selLength_ > 0;
  const bool full = App().view != nullptr && !App().view->Clipboard().empty();
  return {{Choice::Undo, u"&Annulla", open && canUndo_},
          {Choice::Cut, u"&Taglia", open && selection},
          {Choice::Copy, u"&Copia", selection},
          {Choice::Paste, u"&Incolla", open && full},
          {Choice::SelectAll, u"&Seleziona tutto", !text_.empty()}};
}

void TextBox::OnKey(const KeyStroke& stroke) {
  const int caret = ActiveEnd();
  const bool collapse = selLength_ > 0 && !stroke.shift && !stroke.control;
  switch (stroke.key) {
    case Key::Character:
      if (stroke.text.size() == 1 && !text::IsControl(stroke.text[0])) {
        Press(stroke.text[0]);
      } else if (stroke.text.size() == 2) {
        PressPair(stroke.text[0], stroke.text[1]);
      }
      break;
    case Key::Backspace:
      Press(kBackspace);
      break;
    case Key::Enter:
      Press(CodeOf(Key::Enter));
      break;
    case Key::Delete:
      if (selLength_ > 0) {
        DeleteRange(selStart_, selLength_);
      } else {
        DeleteRange(caret, StepRight(caret) - caret);
      }
      break;
    case Key::Left:
    case Key::Up:
      if (collapse) {
        SetSelStart(selStart_);
      } else {
        MoveCaret(stroke.control ? WordLeft(caret) : StepLeft(caret), stroke.shift);
      }
      break;
    case Key::Right:
    case Key::Down:
      if (collapse) {
        SetSelStart(selStart_ + selLength_);
      } else {
        MoveCaret(stroke.control ? WordRight(caret) : StepRight(caret), stroke.shift);
      }
      break;
    case Key::Home:
      MoveCaret(0, stroke.shift);
      break;
    case Key::End:
      MoveCaret(Length(text_), stroke.shift);
      break;
    default:
      break;
  }
}

void TextBox::Press(char16_t code) {
  auto key = static_cast<std::int16_t>(code);
  if (KeyPress) {
    KeyPress(key);
  }
  ActOn(static_cast<char16_t>(key));
}

// A character of two units comes as two keys, and stands or falls as one.
void TextBox::PressPair(char16_t high, char16_t low) {
  auto first = static_cast<std::int16_t>(high);
  auto second = static_cast<std::int16_t>(low);
  if (KeyPress) {
    KeyPress(first);
    KeyPress(second);
  }
  if (static_cast<char16_t>(first) == high && static_cast<char16_t>(second) == low) {
    const char16_t pair[] = {high, low};
    Insert({pair, 2});
  }
}

void TextBox::ActOn(char16_t code) {
  switch (code) {
    case kBackspace:
      if (selLength_ > 0) {
        DeleteRange(selStart_, selLength_);
      } else {
        const int from = StepLeft(selStart_);
        DeleteRange(from, selStart_ - from);
      }
      break;
    case kPaste:
      Paste(App().view != nullptr ? App().view->Clipboard() : std::u16string());
      break;
    case kCut:
      if (selLength_ > 0 && !locked_) {
        if (App().view != nullptr) {
          App().view->SetClipboard(text::Mid(text_, static_cast<std::size_t>(selStart_) + 1,
                                             static_cast<std::size_t>(selLength_)));
        }
        DeleteRange(selStart_, selLength_);
      }
      break;
    case kUndo:
      Undo();
      break;
    default:
      if (!text::IsControl(code)) {
        Insert({&code, 1});
      }
  }
}

// Typing into a full box is dropped; what is selected gives way first and so
// doesn't count.
void TextBox::Insert(std::u16string_view units) {
  const int stays = Length(text_) - selLength_;
  if (locked_ || (maxLength_ > 0 && stays + Length(units) > maxLength_)) {
    return;
  }
  Replace(selStart_, selLength_, units, true);
}

void TextBox::Paste(std::u16string_view clipboard) {
  std::u16string line = SingleLine(trims_ ? Bare(clipboard) : clipboard);
  if (maxLength_ > 0) {
    const int room = std::max(0, maxLength_ - (Length(text_) - selLength_));
    if (Length(line) > room) {
      line.resize(static_cast<std::size_t>(room));
      if (!line.empty() && text::IsHighSurrogate(line.back())) {
        line.pop_back();
      }
    }
  }
  if (!locked_ && !line.empty()) {
    Replace(selStart_, selLength_, line, false);
  }
}

// One step, and the next undo undoes that one: as the platform's box.
void TextBox::Undo() {
  if (!canUndo_ || locked_) {
    return;
  }
  State now{text_, selStart_ + selLength_};
  const bool differs = text_ != before_.text;
  std::swap(now, before_);
  text_ = std::move(now.text);
  selStart_ = now.selStart;
  selLength_ = 0;
  activeAtStart_ = typing_ = false;
  Touch();
  if (differs && Change) {
    Change();
  }
}

void TextBox::DeleteRange(int start, int length) {
  if (length > 0 && !locked_) {
    Replace(start, length, {}, false);
  }
}

void TextBox::Replace(int start, int length, std::u16string_view with, bool typing) {
  if (!typing || !typing_) {
    before_ = {text_, selStart_ + selLength_};
    canUndo_ = true;
  }
  typing_ = typing;
  const std::u16string old = text_;
  text_.replace(static_cast<std::size_t>(start), static_cast<std::size_t>(length), with);
  selStart_ = start + Length(with);
  selLength_ = 0;
  activeAtStart_ = false;
  Touch();
  if (text_ != old && Change) {
    Change();
  }
}

void TextBox::MoveCaret(int offset, bool extend) {
  offset = std::clamp(offset, 0, Length(text_));
  typing_ = false;
  if (!extend) {
    SetSelStart(offset);
    return;
  }
  const int anchor = activeAtStart_ ? selStart_ + selLength_ : selStart_;
  selStart_ = std::min(anchor, offset);
  selLength_ = std::abs(anchor - offset);
  activeAtStart_ = offset < anchor;
  Touch();
}

int TextBox::StepLeft(int offset) const {
  if (offset == 0) {
    return 0;
  }
  const auto at = static_cast<std::size_t>(offset);
  const bool pair =
      offset > 1 && text::IsLowSurrogate(text_[at - 1]) && text::IsHighSurrogate(text_[at - 2]);
  return pair ? offset - 2 : offset - 1;
}

int TextBox::StepRight(int offset) const {
  if (offset >= Length(text_)) {
    return Length(text_);
  }
  const auto at = static_cast<std::size_t>(offset);
  const bool pair = offset + 1 < Length(text_) && text::IsHighSurrogate(text_[at]) &&
                    text::IsLowSurrogate(text_[at + 1]);
  return pair ? offset + 2 : offset + 1;
}

int TextBox::WordLeft(int offset) const {
  auto at = static_cast<std::size_t>(offset);
  while (at > 0 && text_[at - 1] == u' ') --at;
  while (at > 0 && text_[at - 1] != u' ') --at;
  return static_cast<int>(at);
}

int TextBox::WordRight(int offset) const {
  auto at = static_cast<std::size_t>(offset);
  while (at < text_.size() && text_[at] != u' ') ++at;
  while (at < text_.size() && text_[at] == u' ') ++at;
  return static_cast<int>(at);
}

}  // namespace toolkit
