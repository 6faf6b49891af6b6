// The form: its controls, the focus, the tab order, and what the user can do to it. A screen, a
// script or a test calls the User... members; each of them is one event: handlers run to their end,
// then the focus settles, then the program is at rest until the next one.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/control.h"
#include "platform/toolkit/keys.h"

namespace toolkit {

// A row of the table from which the form is built.
struct Placed {
  Control& control;
  Control* container;  // null: directly on the form
  Control* label;      // says what it is; null if none does
  Design design;
};

struct Point {
  int x = 0, y = 0;  // twips, from the form's upper left corner
};

// How the focus comes back from a button that a key has pressed: not at all; as it comes
// by Tab; in a text box whose text is the same with the caret and the selection as well.
enum class Back { kStay, kEnter, kResume };

class Form {
 public:
  explicit Form(std::u16string name) : name_(std::move(name)) {}

  // Lays out the form anew, every control as designed; later rows lie over
  // earlier ones. `caption` is the one of design time.
  void Build(std::span<const Placed> table, std::u16string_view caption, Color backColor);

  const std::u16string& Name() const { return name_; }
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(std::u16string_view caption) { caption_ = caption; }
  int Left() const { return left_; }
  int Top() const { return top_; }
  int Width() const { return width_; }
  int Height() const { return height_; }
  void SetLeft(int twips) { left_ = twips; }
  void SetTop(int twips) { top_ = twips; }
  // Changing width or height raises Resize.
  void SetWidth(int twips);
  void SetHeight(int twips);
  Color BackColor() const { return back_color_; }

  const std::vector<Control*>& Controls() const { return controls_; }
  Control* Focus() const { return focus_; }
  bool Loaded() const { return loaded_; }

  // Raises Load, then settles the first focus. False when the program ended
  // meanwhile, so that there is nothing to show.
  bool Load();
  // Raises Activate: once, when the loaded form is on the screen.
  void Activate();
  // For handlers that end the program and have work left which the user need not see.
  void Hide();
  // For handlers: raises Unload, after which the form is gone.
  void Unload();

  // For handlers: presses a button as a click does, where a user could, and moves the focus back
  // to the control that had it, also after an exception, unless the button's handlers have moved
  // it. `back` returns how, for that control.
  void Press(Control& button, const std::function<Back(const Control& control)>& back);

  std::function<void()> LoadEvent, ActivateEvent, ResizeEvent, UnloadEvent;
  // Comes at the end of each event, once the focus has settled: for what shows the state that
  // the handlers have left. It moves no focus and must be quick, since it follows every key.
  std::function<void()> Settled;
  // Comes before the focused control's own KeyDown, with the same arguments.
  std::function<void(std::int16_t& keyCode, std::int16_t shift)> KeyDown;
  // The list that takes the focus, and searches, where a letter, a digit or F3 is pressed on a
  // button; null for none.
  std::function<ListBox*()> SearchList;

  // --- What the user does. False: a user could not do that now, and nothing
  // happened. Afterwards the program may have ended (application.h).

  // Focus on a control, without a click. The old control's LostFocus comes first; if it takes the
  // focus back, that is where it stays (true all the same: the user did it).
  bool UserFocus(Control& control);
  // A click on anything but a list's row. A button is clicked only if it got
  // the focus. In a text box it puts the caret at `caret` (past the end: end), but
  // not where it brings the focus to a masked one.
  bool UserClick(Control& control, int caret = 1 << 20);
  // Selects from one offset to another in the focused box, as dragging does.
  bool UserSelect(TextBox& box, int from, int to);
  // Row from 0; -1 is the empty space below the rows, which takes the focus,
  // selects nothing and raises no Click.
  bool UserClickRow(ListBox& list, int row);
  // The second click of a double click; the first one was UserClickRow.
  bool UserDblClickRow(ListBox& list, int row);
  // Scrolls by hand: the row, or the last one that can be, becomes the first in view. A list
  // that is disabled stays where it is.
  bool UserScroll(ListBox& list, int row);
  bool UserKey(const KeyStroke& stroke);
  bool UserAccess(char16_t letter);  // Alt and a letter
  bool UserCopy();                   // what is selected: text, or the code of a list's row
  bool UserCut();
  bool UserPaste();
  bool UserUndo();
  bool UserSelectAll();
  // A right click on a control, a list's row where it is one: what the menu then offers,
  // nothing for most. In a text box it brings the focus, with the caret at `caret`, before
  // that; a row for which the list has commands it selects. Nothing where another control keeps
  // the focus.
  std::vector<MenuEntry> UserMenu(Control& control, int row, int caret = 1 << 20);
  // A choice of that menu.
  bool UserChoose(Control& control, int row, const MenuEntry& entry);
  bool UserClose();  // by the window's frame
  // The user has done nothing for a while: Settled sees what the time has changed.
  void Idle();

  // --- For screens.

  // A place where a click meets the control and nothing that lies over it, in
  // a text box as far right as there is one; nothing where it is hidden or covered. Row as in
  // UserClickRow; for a list row the place is right for a list that shows the row at its top.
  std::optional<Point> PlaceToClick(const Control& control) const;
  // A control was shown or hidden since TakeTouched was called last.
  bool AppearanceChanged() const { return appearance_; }
  // The controls that have changed since the last call.
  std::vector<Control*> TakeTouched();

 private:
  friend class Control;

  bool Event(const std::function<bool()>& action);
  bool MoveFocus(Control* target);
  void SettleFocus();
  Control* NextInTab(int from, bool backwards) const;
  Control* At(Point p) const;
  Point Origin(const Control& control) const;
  bool OnTab(bool backwards);
  bool RaiseKeyDown(Control& control, const KeyStroke& stroke);
  bool TypeIntoList(const Control& control, const KeyStroke& stroke);
  bool Edit(char16_t code);
  TextBox* FocusedText() const;

  std::u16string name_;
  std::u16string caption_;
  int left_ = 0, top_ = 0, width_ = 0, height_ = 0;
  Color back_color_ = kWhite;
  std::vector<Control*> controls_;
  std::vector<Control*> tab_order_;
  std::vector<Control*> touched_;
  Control* focus_ = nullptr;
  int last_tab_ = -1;  // where the focus was last, in the tab order
  bool loaded_ = false;
  bool running_ = false;  // inside an event
  bool appearance_ = false;
};

}  // namespace toolkit
