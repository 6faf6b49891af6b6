#include "platform/toolkit/form.h"

#include <algorithm>
#include <utility>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"

namespace toolkit {

void Form::Build(std::span<const Placed> table, std::u16string_view caption, Color backColor) {
  controls_.clear();
  tab_order_.clear();
  touched_.clear();
  focus_ = nullptr;
  last_tab_ = -1;
  loaded_ = running_ = false;
  left_ = top_ = width_ = height_ = 0;
  caption_ = caption;
  back_color_ = backColor;
  for (const Placed& row : table) {
    Control& control = row.control;
    control.form_ = this;
    control.container_ = row.container;
    control.label_ = row.label;
    control.touched_ = false;
    control.Reset(row.design);
    controls_.push_back(&control);
    if (control.TabIndex() >= 0) {
      tab_order_.push_back(&control);
    }
  }
  std::ranges::stable_sort(tab_order_, {}, &Control::TabIndex);
  for (Control* control : controls_) {
    control->touched_ = false;
    control->Touch();
  }
}

void Form::SetWidth(int twips) {
  if (std::exchange(width_, twips) != twips && ResizeEvent) {
    ResizeEvent();
  }
}

void Form::SetHeight(int twips) {
  if (std::exchange(height_, twips) != twips && ResizeEvent) {
    ResizeEvent();
  }
}

// --- Events

bool Form::Event(const std::function<bool()>& action) {
  if (App().ended || running_) {
    return false;
  }
  running_ = true;
  App().working = std::chrono::steady_clock::now();
  bool done = true;
  auto guarded = [](const auto& what) {
    try {
      what();
    } catch (const ProgramEnd& end) {
      App().ended = true;
      App().status = end.status;
      if (App().witness != nullptr) {
        App().witness->Ended(end.status);
      }
    }
  };
  guarded([&] {
    try {
      done = action();
      SettleFocus();
    } catch (const std::exception& e) {
      if (!App().unhandled) {
        throw;
      }
      Screen.MousePointer = 0;
      App().unhandled(e);
      SettleFocus();
    }
    if (Settled) {
      Settled();
    }
  });
  if (App().at_rest) {
    App().at_rest();
  }
  App().working.reset();
  running_ = false;
  return done;
}

bool Form::Load() {
  Event([this] {
    if (LoadEvent) {
      LoadEvent();
    }
    loaded_ = true;
    return true;
  });
  return !App().ended;
}

void Form::Activate() {
  Event([this] {
    if (ActivateEvent) {
      ActivateEvent();
    }
    return true;
  });
}

void Form::Hide() {
  if (App().view != nullptr) {
    App().view->Hide();
  }
}

void Form::Unload() {
  loaded_ = false;
  if (UnloadEvent) {
    UnloadEvent();
  }
}

bool Form::UserClose() {
  return Event([this] {
    Unload();
    return true;
  });
}

void Form::Idle() {
  Event([] { return true; });
}

// --- Focus

// Moves the focus to `target`, unless the LostFocus of the old control puts it
// elsewhere or makes the target unfit. True when the target has it.
bool Form::MoveFocus(Control* target) {
  if (focus_ == target) {
    return true;
  }
  // Without the focus while its LostFocus runs, so that the handler's own
  // SetFocus, on itself too, is a move like any other.
  Control* old = std::exchange(focus_, nullptr);
  if (old != nullptr && old->LostFocus) {
    old->LostFocus();
    if (focus_ != nullptr) {
      return focus_ == target;
    }
  }
  if (target == nullptr || !target->CanFocus()) {
    return false;
  }
  focus_ = target;
  if (target->TabIndex() >= 0) {
    last_tab_ = target->TabIndex();
  }
  if (target->GotFocus) {
    target->GotFocus();
  }
  return focus_ == target;
}

// The handlers may have hidden or disabled the focused control, or there may be none: then the next
// one in tab order gets the focus, once the handlers have ended.
void Form::SettleFocus() {
  if (!loaded_) {
    return;
  }
  for (int attempts = 0; attempts < 3; ++attempts) {
    if (focus_ != nullptr && focus_->CanFocus()) {
      return;
    }
    Control* next = NextInTab(last_tab_, false);
    MoveFocus(next);
    if (next == nullptr) {
      return;
    }
  }
}

Control* Form::NextInTab(int from, bool backwards) const {
  const auto n = static_cast<int>(tab_order_.size());
  int start = 0;
  while (start < n && tab_order_[static_cast<std::size_t>(start)]->TabIndex() <= from) {
    ++start;
  }
  // `start` is the first one after `from`; backwards begins before `from`.
  int step = 1;
  if (backwards) {
    step = -1;
    --start;
    if (from >= 0 && start >= 0) {
      --start;
    }
  }
  for (int i = 0; i < n; ++i) {
    const int at = ((start + step * i) % n + n) % n;
    Control* control = tab_order_[static_cast<std::size_t>(at)];
    if (control->CanFocus() && control->IsTabStop()) {
      return control;
    }
  }
  return nullptr;
}

// --- What the user does

bool Form::UserFocus(Control& control) {
  return Event([&] {
    if (!control.CanFocus()) {
      return false;
    }
    MoveFocus(&control);
    return true;
  });
}

bool Form::UserClick(Control& control, int caret) {
  return Event([&] {
    if (!control.Usable()) {
      return false;
    }
    control.OnClick(caret);
    return true;
  });
}

bool Form::UserSelect(TextBox& box, int from, int to) {
  return Event([&] {
    if (focus_ != &box) {
      return false;
    }
    box.MoveCaret(from, false);
    box.MoveCaret(to, true);
    return true;
  });
}

bool Form::UserClickRow(ListBox& list, int row) {
  return Event([&] {
    const int filled = list.ListCount();
    if (!list.Usable() || row >= filled || (row < 0 && filled >= list.VisibleRows())) {
      return false;
    }
    if (MoveFocus(&list) && row >= 0) {
      list.Select(row);
    }
    return true;
  });
}

// The empty space below the rows takes a double click too; it is then about
// the row that is selected, if any.
bool Form::UserDblClickRow(ListBox& list, int row) {
  return Event([&] {
    const bool clicked = list.Usable() && focus_ == &list && row < list.ListCount();
    if (clicked && list.DblClick) {
      list.DblClick();
    }
    return clicked;
  });
}

bool Form::UserScroll(ListBox& list, int row) {
  if (App().ended || running_ || !list.Usable()) {
    return false;
  }
  list.SetTopIndex(row);
  return true;
}

TextBox* Form::FocusedText() const { return dynamic_cast<TextBox*>(focus_); }

namespace {

bool IsLetterOrDigit(char16_t capital) {
  return (capital >= u'0' && capital <= u'9') || (capital >= u'A' && capital <= u'Z');
}

bool Searches(const KeyStroke& stroke) {
  if (stroke.key == Key::F3) {
    return true;
  }
  std::u16string plain;
  if (stroke.key == Key::Character && !stroke.control && stroke.text.size() == 1) {
    text::AppendPlain(plain, stroke.text[0]);
  }
  return !plain.empty() && IsLetterOrDigit(plain[0]);
}

}  // namespace

std::int16_t CodeOf(const KeyStroke& stroke) {
  if (stroke.key != Key::Character) {
    return CodeOf(stroke.key);
  }
  if (stroke.text.size() != 1) {
    return 0;
  }
  const char16_t c = text::Upper(stroke.text[0]);
  if (!IsLetterOrDigit(c) && c != u' ') {
    return 0;
  }
  return static_cast<std::int16_t>(c);
}

void Form::Press(Control& button, const std::function<Back(const Control& control)>& back) {
  if (!button.CanFocus()) {
    return;
  }
  Control* const before = focus_;
  TextBox* const box = FocusedText();
  std::u16string text;
  int from = 0, length = 0;
  if (box != nullptr) {
    text = box->Text();
    from = box->SelStart();
    length = box->SelLength();
  }
  const auto restore = [&] {
    if (before == nullptr || before == &button || focus_ != &button || !before->CanFocus()) {
      return;
    }
    const Back how = back(*before);
    if (how != Back::kStay && MoveFocus(before) && how == Back::kResume && box != nullptr &&
        box->Text() == text) {
      box->MoveCaret(from, false);
      box->MoveCaret(from + length, true);
    }
  };
  try {
    button.OnClick(0);
  } catch (const std::exception&) {
    restore();
    throw;
  }
  restore();
}

bool Form::UserKey(const KeyStroke& stroke) {
  return Event([&] {
    if (stroke.key == Key::Tab) {
      return OnTab(stroke.shift);
    }
    if (focus_ == nullptr) {
      return false;
    }
    if (stroke.key == Key::Delete && stroke.shift && !stroke.control) {
      if (TextBox* box = FocusedText()) {
        box->Press(TextBox::kCut);
      }
      return true;
    }
    Control& control = *focus_;
    const bool command = stroke.key == Key::Character && stroke.control;
    if (RaiseKeyDown(control, stroke) && !command && !TypeIntoList(control, stroke)) {
      control.OnKey(stroke);
    }
    return true;
  });
}

bool Form::OnTab(bool backwards) {
  Control* next = NextInTab(last_tab_, backwards);
  if (next == nullptr) {
    return false;
  }
  MoveFocus(next);
  return true;
}

// On a button a letter or a digit searches the list of SearchList. False where it doesn't.
bool Form::TypeIntoList(const Control& control, const KeyStroke& stroke) {
  const bool typed = dynamic_cast<const Button*>(&control) != nullptr && Searches(stroke);
  ListBox* list = nullptr;
  if (typed && SearchList) {
    list = SearchList();
  }
  if (list != nullptr && MoveFocus(list)) {
    list->searching_ = false;
    list->OnKey(stroke);
  }
  return list != nullptr;
}

// The form's handler, then the control's own. False when one of them has used the key, or
// the control has lost the focus meanwhile.
bool Form::RaiseKeyDown(Control& control, const KeyStroke& stroke) {
  const std::int16_t code = CodeOf(stroke);
  if (code == 0) {
    return true;
  }
  std::int16_t shift = 0;
  if (stroke.shift) {
    shift |= kShift;
  }
  if (stroke.control) {
    shift |= kControl;
  }
  for (const auto* handler : {&KeyDown, &control.KeyDown}) {
    std::int16_t left = code;
    if (*handler) {
      (*handler)(left, shift);
    }
    if (left == 0 || focus_ != &control || !control.CanFocus()) {
      return false;
    }
  }
  return true;
}

bool Form::UserAccess(char16_t letter) {
  return Event([&] {
    const char16_t wanted = text::Upper(letter);
    // The next one after the focus, so that two with one letter take turns.
    const auto after = std::ranges::find_if(
        tab_order_, [this](const Control* c) { return c->TabIndex() > last_tab_; });
    std::vector<Control*> order(after, tab_order_.end());
    order.insert(order.end(), tab_order_.begin(), after);
    for (Control* control : order) {
      if (control->CanFocus() && control->AccessKey() == wanted) {
        control->OnClick(0);
        return true;
      }
    }
    return false;
  });
}

namespace {

// Into the clipboard; false where there is nothing to copy.
bool Copy(std::u16string_view text) {
  if (text.empty()) {
    return false;
  }
  if (App().view != nullptr) {
    App().view->SetClipboard(text);
  }
  return true;
}

}  // namespace

bool Form::UserCopy() {
  return Event([this] { return focus_ != nullptr && Copy(focus_->Copied(Choice::Copy, -1)); });
}

// Passes a code of editing to the focused text box; false where none has the focus.
bool Form::Edit(char16_t code) {
  return Event([&] {
    TextBox* box = FocusedText();
    if (box != nullptr) {
      box->Press(code);
    }
    return box != nullptr;
  });
}

bool Form::UserCut() { return Edit(TextBox::kCut); }
bool Form::UserPaste() { return Edit(TextBox::kPaste); }
bool Form::UserUndo() { return Edit(TextBox::kUndo); }

bool Form::UserSelectAll() {
  return Event([this] {
    TextBox* box = FocusedText();
    if (box == nullptr) {
      return false;
    }
    box->SelectAll();
    return true;
  });
}

bool Form::UserChoose(Control& control, int row, const MenuEntry& entry) {
  switch (entry.choice) {
    case Choice::Undo:
      return UserUndo();
    case Choice::Cut:
      return UserCut();
    case Choice::Paste:
      return UserPaste();
    case Choice::SelectAll:
      return UserSelectAll();
    case Choice::Open:
      return UserDblClickRow(static_cast<ListBox&>(control), row);
    case Choice::Press:
      return UserClick(*entry.button);
    case Choice::Copy:
    case Choice::CopyCode:
    case Choice::CopyRow:
      break;
  }
  return Event([&] { return Copy(control.Copied(entry.choice, row)); });
}

std::vector<MenuEntry> Form::UserMenu(Control& control, int row, int caret) {
  const bool box = dynamic_cast<TextBox*>(&control) != nullptr;
  if (box && focus_ != &control && UserClick(control, caret) &&
      (App().ended || focus_ != &control)) {
    return {};
  }
  auto* list = dynamic_cast<ListBox*>(&control);
  if (list != nullptr && row >= 0 && !list->RowCommands.empty() && UserClickRow(*list, row) &&
      (App().ended || focus_ != list)) {
    return {};
  }
  if (!control.Showing()) {
    return {};
  }
  return control.Menu(row);
}

// --- For screens

Point Form::Origin(const Control& control) const {
  Point p{control.Left(), control.Top()};
  for (const Control* c = control.Container(); c != nullptr; c = c->Container()) {
    p.x += c->Left();
    p.y += c->Top();
  }
  return p;
}

// The uppermost control that shows at a place: what lies in a frame lies over
// the frame, and a later frame over an earlier one with all that it holds.
Control* Form::At(Point p) const {
  Control* found = nullptr;
  for (;;) {
    Control* inside = nullptr;
    for (Control* control : controls_) {
      const Point at = Origin(*control);
      if (control->Container() == found && control->Visible() && p.x >= at.x && p.y >= at.y &&
          p.x < at.x + control->Width() && p.y < at.y + control->Height() &&
          control->MeetsMouse()) {
        inside = control;
      }
    }
    if (inside == nullptr) {
      return found;
    }
    found = inside;
  }
}

std::optional<Point> Form::PlaceToClick(const Control& control) const {
  if (!control.Showing()) {
    return std::nullopt;
  }
  constexpr int kMargin = 60, kStep = 45, kPixel = 15;
  const Point origin = Origin(control);
  // What lies beside the place may be drawn up to a pixel over it.
  const auto free = [&](Point p) {
    return At({p.x - kPixel, p.y - kPixel}) == &control &&
           At({p.x + kPixel, p.y + kPixel}) == &control && At(p) == &control;
  };
  const int y0 = origin.y + control.LineToClick();
  for (int x = control.Width() - kMargin; x >= kMargin; x -= kStep) {
    const Point p{origin.x + x, y0};
    if (free(p)) {
      return p;
    }
  }
  // A frame may be covered at its middle: any place will do.
  for (int y = kMargin; y < control.Height(); y += kStep) {
    for (int x = kMargin; x < control.Width(); x += kStep) {
      const Point p{origin.x + x, origin.y + y};
      if (free(p)) {
        return p;
      }
    }
  }
  return std::nullopt;
}

std::vector<Control*> Form::TakeTouched() {
  appearance_ = false;
  for (Control* control : touched_) {
    control->touched_ = false;
  }
  return std::exchange(touched_, {});
}

}  // namespace toolkit
