#include "platform/toolkit/form.h"

#include <algorithm>
#include <utility>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"

namespace toolkit {

void Form::Build(std::span<const Placed> table, std::u16string_view caption, Color backColor) {
  controls_.clear();
  tabOrder_.clear();
  touched_.clear();
  focus_ = nullptr;
  lastTab_ = -1;
  loaded_ = running_ = false;
  left_ = top_ = width_ = height_ = 0;
  caption_ = caption;
  backColor_ = backColor;
  for (const Placed& row : table) {
    Control& control = row.control;
    control.form_ = this;
    control.container_ = row.container;
    control.label_ = row.label;
    control.touched_ = false;
    control.Reset(row.design);
    controls_.push_back(&control);
    if (control.TabIndex() >= 0) {
      tabOrder_.push_back(&control);
    }
  }
  std::ranges::stable_sort(tabOrder_, {}, &Control::TabIndex);
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
  if (App().atRest) {
    App().atRest();
  }
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
    lastTab_ = target->TabIndex();
  }
  if (target->GotFocus) {
    target->GotFocus();
  }
  return focus_ == target;
}

// The focused control may have gone while the handlers ran, or there may be
// none: the next one in tab order takes over, once everything stands.
void Form::SettleFocus() {
  if (!loaded_) {
    return;
  }
  for (int attempts = 0; attempts < 3; ++attempts) {
    if (focus_ != nullptr && focus_->CanFocus()) {
      return;
    }
    Control* next = NextInTab(lastTab_, false);
    MoveFocus(next);
    if (next == nullptr) {
      return;
    }
  }
}

// In a group of option buttons Tab goes to the one that is on.
bool Form::IsTabStop(const Control& control) const {
  if (!control.CanFocus()) {
    return false;
  }
  if (control.Type() != Kind::OptionButton || static_cast<const OptionButton&>(control).Value()) {
    return true;
  }
  return std::ranges::none_of(controls_, [&](const Control* other) {
    return other->Type() == Kind::OptionButton && other->Container() == control.Container() &&
           static_cast<const OptionButton*>(other)->Value();
  });
}

Control* Form::NextInTab(int from, bool backwards) const {
  const auto n = static_cast<int>(tabOrder_.size());
  int start = 0;
  while (start < n && tabOrder_[static_cast<std::size_t>(start)]->TabIndex() <= from) {
    ++start;
  }
  // `start` is the first one after `from`; backwards begins before `from`.
  if (backwards) {
    start -= from >= 0 && start > 0 ? 2 : 1;
  }
  for (int i = 0; i < n; ++i) {
    const int at = ((start + (backwards ? -i : i)) % n + n) % n;
    Control* control = tabOrder_[static_cast<std::size_t>(at)];
    if (IsTabStop(*control)) {
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

bool Form::PressButton(Control& control) {
  if (!MoveFocus(&control)) {
    return true;
  }
  if (control.Type() == Kind::OptionButton) {
    auto& option = static_cast<OptionButton&>(control);
    if (option.Value() && option.Again) {
      option.Again();
    }
    option.SetValue(true);
  } else if (control.Click) {
    control.Click();
  }
  return true;
}

bool Form::UserClick(Control& control, int caret) {
  return Event([&] {
    if (!control.Usable()) {
      return false;
    }
    switch (control.Type()) {
      case Kind::CommandButton:
      case Kind::OptionButton:
        return PressButton(control);
      case Kind::TextBox:
        if (const bool came = focus_ != &control; MoveFocus(&control)) {
          auto& box = static_cast<TextBox&>(control);
          if (came && box.Masked()) {
            return true;
          }
          box.SetSelStart(caret);
          if (const int at = box.SelStart(); at > 0) {  // never amid a character of two units
            box.SetSelStart(box.StepRight(box.StepLeft(at)));
          }
        }
        return true;
      case Kind::ListBox:
        MoveFocus(&control);
        return true;
      default:
        if (control.Click) {
          control.Click();
        }
        return true;
    }
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

// The empty space below the rows answers a double click too; it is then about
// the row that is selected, if any.
bool Form::UserDblClickRow(ListBox& list, int row) {
  return Event([&] {
    const bool wasThere = list.Usable() && focus_ == &list && row < list.ListCount();
    if (wasThere && list.DblClick) {
      list.DblClick();
    }
    return wasThere;
  });
}

bool Form::UserScroll(ListBox& list, int row) {
  if (App().ended || running_ || !list.Usable()) {
    return false;
  }
  list.SetTopIndex(row);
  return true;
}

TextBox* Form::FocusedText() const {
  return focus_ != nullptr && focus_->Type() == Kind::TextBox ? static_cast<TextBox*>(focus_)
                                                              : nullptr;
}

ListBox* Form::FocusedList() const {
  return focus_ != nullptr && focus_->Type() == Kind::ListBox ? static_cast<ListBox*>(focus_)
                                                              : nullptr;
}

namespace {

// 0 where the key that bears a character can't be told by it.
std::int16_t KeyCode(const KeyStroke& stroke) {
  switch (stroke.key) {
    case Key::Backspace:
      return 8;
    case Key::Tab:
      return 9;
    case Key::Enter:
      return 13;
    case Key::Escape:
      return 27;
    case Key::PageUp:
      return 33;
    case Key::PageDown:
      return 34;
    case Key::End:
      return 35;
    case Key::Home:
      return 36;
    case Key::Left:
      return 37;
    case Key::Up:
      return 38;
    case Key::Right:
      return 39;
    case Key::Down:
      return 40;
    case Key::Delete:
      return 46;
    case Key::F3:
      return 114;
    case Key::F4:
      return 115;
    case Key::F5:
      return 116;
    case Key::F6:
      return 117;
    case Key::Character:
      break;
  }
  const char16_t c = stroke.text.size() == 1 ? text::Upper(stroke.text[0]) : u'\0';
  const bool own = (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || c == u' ';
  return own ? static_cast<std::int16_t>(c) : std::int16_t{0};
}

bool Searches(const KeyStroke& stroke) {
  if (stroke.key == Key::F3) {
    return true;
  }
  std::u16string plain;
  if (stroke.key == Key::Character && !stroke.control && stroke.text.size() == 1) {
    text::AppendPlain(plain, stroke.text[0]);
  }
  return !plain.empty() &&
         ((plain[0] >= u'0' && plain[0] <= u'9') || (plain[0] >= u'A' && plain[0] <= u'Z'));
}

}  // namespace

void Form::Press(Control& button, const std::function<Back(const Control& control)>& back) {
  if (!button.CanFocus()) {
    return;
  }
  Control* const before = focus_;
  TextBox* const box = FocusedText();
  const std::u16string text = box != nullptr ? box->Text() : u"";
  const int from = box != nullptr ? box->SelStart() : 0,
            length = box != nullptr ? box->SelLength() : 0;
  const auto giveBack = [&] {
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
    PressButton(button);
  } catch (const std::exception&) {
    giveBack();
    throw;
  }
  giveBack();
}

bool Form::UserKey(const KeyStroke& stroke) {
  return Event([&] {
    if (stroke.key == Key::Tab) {
      Control* next = NextInTab(lastTab_, stroke.shift);
      if (next == nullptr) {
        return false;
      }
      MoveFocus(next);
      return true;
    }
    if (focus_ == nullptr) {
      return false;
    }
    if (stroke.key == Key::Delete && stroke.shift && !stroke.control) {
      if (TextBox* box = FocusedText()) {
        box->Press(24);  // cuts
      }
      return true;
    }
    Control& control = *focus_;
    if (const std::int16_t code = KeyCode(stroke); code != 0) {
      const auto shift =
          static_cast<std::int16_t>((stroke.shift ? 1 : 0) | (stroke.control ? 2 : 0));
      for (const auto* handler : {&KeyDown, &control.KeyDown}) {
        std::int16_t left = code;
        if (*handler) {
          (*handler)(left, shift);
        }
        if (left == 0 || focus_ != &control || !control.CanFocus()) {
          return true;
        }
      }
    }
    if (stroke.key == Key::Character && stroke.control) {
      return true;
    }
    const bool button =
        control.Type() == Kind::CommandButton || control.Type() == Kind::OptionButton;
    if (ListBox* list = button && SearchList && Searches(stroke) ? SearchList() : nullptr) {
      if (MoveFocus(list)) {
        list->searching_ = false;
        list->OnKey(stroke);
      }
      return true;
    }
    switch (control.Type()) {
      case Kind::TextBox:
        static_cast<TextBox&>(control).OnKey(stroke);
        return true;
      case Kind::ListBox:
        static_cast<ListBox&>(control).OnKey(stroke);
        return true;
      case Kind::OptionButton:
        return OptionKey(static_cast<OptionButton&>(control), stroke);
      default:
        if ((stroke.key == Key::Enter && !stroke.shift && !stroke.control) || stroke.text == u" ") {
          return PressButton(control);
        }
        return true;
    }
  });
}

// Arrows go round the group and switch on what they reach.
bool Form::OptionKey(OptionButton& option, const KeyStroke& stroke) {
  const bool back = stroke.key == Key::Left || stroke.key == Key::Up;
  const bool on = stroke.key == Key::Right || stroke.key == Key::Down;
  if (stroke.text == u" ") {
    return PressButton(option);
  }
  if (!back && !on) {
    return true;
  }
  std::vector<Control*> group;
  for (Control* other : tabOrder_) {
    if (other->Type() == Kind::OptionButton && other->Container() == option.Container() &&
        other->CanFocus()) {
      group.push_back(other);
    }
  }
  const auto here = std::ranges::find(group, &option) - group.begin();
  const auto size = std::ssize(group);
  return PressButton(*group[static_cast<std::size_t>((here + (back ? size - 1 : 1)) % size)]);
}

char16_t Form::AccessKey(std::u16string_view caption) {
  for (std::size_t i = 0; i + 1 < caption.size(); ++i) {
    if (caption[i] == u'&') {
      if (caption[i + 1] != u'&') {
        return text::Upper(caption[i + 1]);
      }
      ++i;
    }
  }
  return 0;
}

bool Form::UserAccess(char16_t letter) {
  return Event([&] {
    const char16_t wanted = text::Upper(letter);
    // The next one after the focus, so that two with one letter take turns.
    const auto after = std::ranges::find_if(
        tabOrder_, [this](const Control* c) { return c->TabIndex() > lastTab_; });
    std::vector<Control*> order(after, tabOrder_.end());
    order.insert(order.end(), tabOrder_.begin(), after);
    for (Control* control : order) {
      const bool button =
          control->Type() == Kind::CommandButton || control->Type() == Kind::OptionButton;
      if (button && control->CanFocus() && AccessKey(control->Caption()) == wanted) {
        return PressButton(*control);
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

std::u16string CodeOf(const ListBox& list, int row) {
  return row >= 0 && list.Code ? list.Code(row) : std::u16string();
}

}  // namespace

bool Form::UserCopy() {
  return Event([this] {
    if (const ListBox* list = FocusedList()) {
      return Copy(CodeOf(*list, list->ListIndex()));
    }
    const TextBox* box = FocusedText();
    return box != nullptr && Copy(std::u16string_view(box->Text())
                                      .substr(static_cast<std::size_t>(box->SelStart()),
                                              static_cast<std::size_t>(box->SelLength())));
  });
}

bool Form::UserCut() {
  return Event([this] {
    TextBox* box = FocusedText();
    return box != nullptr && (box->Press(24), true);
  });
}

bool Form::UserPaste() {
  return Event([this] {
    TextBox* box = FocusedText();
    return box != nullptr && (box->Press(22), true);
  });
}

bool Form::UserUndo() {
  return Event([this] {
    TextBox* box = FocusedText();
    return box != nullptr && (box->Press(26), true);
  });
}

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

bool Form::UserChoose(Control& control, int row, Choice choice) {
  switch (choice) {
    case Choice::Undo:
      return UserUndo();
    case Choice::Cut:
      return UserCut();
    case Choice::Paste:
      return UserPaste();
    case Choice::SelectAll:
      return UserSelectAll();
    case Choice::CopyCode:
      return Event([&] { return Copy(CodeOf(static_cast<ListBox&>(control), row)); });
    case Choice::CopyRow:
      return Event([&] { return Copy(text::Trim(static_cast<ListBox&>(control).List(row))); });
    case Choice::Copy:
      break;
  }
  if (&control == focus_) {
    return UserCopy();
  }
  return Event([&] {
    return Copy(control.Type() == Kind::TextBox ? static_cast<TextBox&>(control).Text()
                                                : text::Trim(control.Caption()));
  });
}

std::vector<MenuEntry> Form::UserMenu(Control& control, int row, int caret) {
  if (control.Type() == Kind::TextBox && focus_ != &control && UserClick(control, caret) &&
      (App().ended || focus_ != &control)) {
    return {};
  }
  return Menu(control, row);
}

std::vector<MenuEntry> Form::Menu(const Control& control, int row) const {
  if (!control.Showing()) {
    return {};
  }
  switch (control.Type()) {
    case Kind::TextBox: {
      const auto& box = static_cast<const TextBox&>(control);
      if (!box.Enabled()) {
        return {{Choice::Copy, u"&Copia", !box.Text().empty()}};
      }
      const bool open = !box.Locked() && !box.Masked(), selection = box.SelLength() > 0;
      const bool full = App().view != nullptr && !App().view->Clipboard().empty();
      return {{Choice::Undo, u"&Annulla", open && box.CanUndo()},
              {Choice::Cut, u"&Taglia", open && selection},
              {Choice::Copy, u"&Copia", selection},
              {Choice::Paste, u"&Incolla", open && full},
              {Choice::SelectAll, u"&Seleziona tutto", !box.Text().empty()}};
    }
    case Kind::ListBox: {
      const auto& list = static_cast<const ListBox&>(control);
      if (row < 0 || row >= list.ListCount()) {
        return {};
      }
      return {{Choice::CopyCode, u"Copia &codice", !CodeOf(list, row).empty()},
              {Choice::CopyRow, u"Copia &riga", true}};
    }
    case Kind::Label:  // one with a border shows a value
      if (control.Edge() == Border::None) {
        return {};
      }
      return {{Choice::Copy, u"&Copia", !text::Trim(control.Caption()).empty()}};
    default:
      return {};
  }
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
          control->Type() != Kind::Shape) {
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
  const int y0 = control.Type() == Kind::ListBox ? origin.y + ListBox::kInset
                                                 : origin.y + control.Height() / 2;
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
