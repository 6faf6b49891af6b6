// The controls of the form, as a model: what they hold, what they do when the
// user acts on them, which events they raise. Nothing here draws: a screen shows
// what it reads here, and the model is the only truth.
//
// Measures are twips (1440 to an inch, 15 to a pixel at 96 dpi), texts are counted in UTF-16 units,
// colours are red + 256 * green + 65536 * blue. The event members (Click, Change, ...) are set by
// the form's code; an empty one is not called.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace toolkit {

class Form;
struct KeyStroke;

using Color = std::uint32_t;
constexpr Color kBlack = 0;
constexpr Color kWhite = 16777215;
constexpr Color kYellow = 65535;

// Thrown where the toolkit is used in a way that makes no sense: a fault of the
// program, not of the user.
class Misuse : public std::logic_error {
  using std::logic_error::logic_error;
};

enum class Font { Normal, Bold, Heading, Fixed };  // Fixed: Courier New 8.25
enum class Border { None, Line, Sunken, Raised };  // Raised: lies over its surroundings

// A control as it was designed, before any code has run.
struct Design {
  int Left = 0, Top = 0, Width = 0, Height = 0;
  const char16_t* Caption = u"";  // the text, for a text box
  int TabIndex = -1;              // -1: no place in the tab order
  int MaxLength = 0;
  bool Visible = true;
  bool Enabled = true;
  bool Locked = false;
  bool Masked = false;
  bool Trims = false;
  bool Main = false;
  Color BackColor = kWhite;
  Color ForeColor = kBlack;
  Font Face = Font::Normal;
  Border Edge = Border::None;
};

class Control;

enum class Choice { Undo, Cut, Copy, Paste, SelectAll, CopyCode, CopyRow, Open, Press };

struct MenuEntry {
  Choice choice;
  const char16_t* caption;
  bool enabled;
  Control* button = nullptr;  // of Choice::Press
};

class Control {
 public:
  // `index` is the place in a control array, -1 for a control of its own.
  explicit Control(std::u16string name, int index = -1);
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  int Index() const { return index_; }
  const std::u16string& Name() const { return name_; }
  std::u16string FullName() const;  // "Text1(4)"
  // The frame that holds the control; null for one directly on the form.
  Control* Container() const { return container_; }
  // The label that stands by the control and says what it is; null if none.
  Control* Label() const { return label_; }

  int Left() const { return left_; }
  int Top() const { return top_; }
  int Width() const { return width_; }
  int Height() const { return height_; }
  void SetLeft(int twips) { Assign(left_, twips); }
  void SetTop(int twips) { Assign(top_, twips); }
  void SetWidth(int twips) { Assign(width_, twips); }
  void SetHeight(int twips) { Assign(height_, twips); }

  // The control's own switches; Showing and Usable look at its frames too.
  bool Visible() const { return visible_; }
  bool Enabled() const { return enabled_; }
  void SetVisible(bool on);
  void SetEnabled(bool on) { Assign(enabled_, on); }
  bool Showing() const;
  bool Usable() const;    // showing and enabled
  bool CanFocus() const;  // usable, and of a kind that takes the focus
  bool HasFocus() const;

  const std::u16string& Caption() const { return caption_; }
  void SetCaption(std::u16string_view text) { Assign(caption_, std::u16string(text)); }
  Color ForeColor() const { return fore_color_; }
  Color BackColor() const { return back_color_; }
  void SetForeColor(Color color) { Assign(fore_color_, color); }
  void SetBackColor(Color color) { Assign(back_color_, color); }
  const std::u16string& ToolTipText() const { return tool_tip_; }
  void SetToolTipText(std::u16string_view text) { Assign(tool_tip_, std::u16string(text)); }
  int TabIndex() const { return tab_index_; }
  Font Face() const { return face_; }
  Border Edge() const { return edge_; }

  // The letter, upper case, that presses the control together with Alt; 0 if none does.
  virtual char16_t AccessKey() const { return 0; }
  // What a copy puts into the clipboard, of a list's row for all but Choice::Copy; "" for nothing.
  virtual std::u16string Copied(Choice choice, int row) const;

  // Moves the focus here, after the LostFocus of the control that has it, which may take it back.
  // Throws Misuse where CanFocus is false.
  void SetFocus();
  // Repaints at once what has changed; more often than the eye can follow it is left out.
  void Refresh();

  std::function<void()> Click, GotFocus, LostFocus;
  // Key code (13, 27, ...), which the handler may set to 0, and shift state.
  std::function<void(std::int16_t& keyCode, std::int16_t shift)> KeyDown;

 protected:
  friend class Form;
  virtual void Reset(const Design& design);  // back to how it was designed
  void Touch();                              // the screen has to look at this control again

  // What each kind does in its own way, called by the form. The members On... are called in
  // the middle of an event.
  virtual bool TakesFocus() const { return false; }
  virtual bool IsTabStop() const { return true; }          // of what takes the focus
  virtual bool MeetsMouse() const { return true; }         // otherwise clicks go to what lies below
  virtual int LineToClick() const { return height_ / 2; }  // twips from the top
  virtual void OnClick(int caret);                         // on a usable control
  virtual void OnKey(const KeyStroke& /*stroke*/) {}       // with the focus
  virtual std::vector<MenuEntry> Menu(int row) const;      // what a right click offers

  // As SetFocus, where the control can have it; true if it then has it.
  bool TakeFocus();

  template <class T>
  void Assign(T& member, T value) {
    if (member != value) {
      member = value;
      Touch();
    }
  }

  Form* form_ = nullptr;

 private:
  int index_;
  std::u16string name_;
  Control* container_ = nullptr;
  Control* label_ = nullptr;
  int left_ = 0, top_ = 0, width_ = 0, height_ = 0;
  bool visible_ = true, enabled_ = true;
  std::u16string caption_, tool_tip_;
  Color fore_color_ = kBlack, back_color_ = kWhite;
  int tab_index_ = -1;
  Font face_ = Font::Normal;
  Border edge_ = Border::None;
  bool touched_ = false;
};

class Frame : public Control {
 public:
  using Control::Control;
};

// One with a border shows a value, which can be copied.
class Label : public Control {
 public:
  using Control::Control;
  std::u16string Copied(Choice choice, int row) const override;

 protected:
  std::vector<MenuEntry> Menu(int row) const override;
};

class Shape : public Control {
 public:
  using Control::Control;

 protected:
  bool MeetsMouse() const override { return false; }
};

// What is pressed: by a click, by the letter in its caption, by keys.
class Button : public Control {
 public:
  using Control::Control;
  char16_t AccessKey() const override;

 protected:
  bool TakesFocus() const override { return true; }
  void OnClick(int caret) override;
  void OnKey(const KeyStroke& stroke) override;
  virtual void Act();  // once it is pressed and has the focus
};

class CommandButton : public Button {
 public:
  using Button::Button;
  // The one with which the work on its screen ends; it stands out.
  bool Main() const { return main_; }

 protected:
  void Reset(const Design& design) override;

 private:
  bool main_ = false;
};

// Single-line text box.
class TextBox : public Control {
 public:
  // Codes that KeyPress gets, besides characters and those of keys.
  static constexpr char16_t kPaste = 22, kCut = 24, kUndo = 26;

  using Control::Control;

  const std::u16string& Text() const { return text_; }
  // The text that the box already holds: nothing happens. Another one: it stands, whatever
  // MaxLength says, the caret goes to 0, and Change comes before the call returns.
  void SetText(std::u16string_view text);
  int MaxLength() const { return max_length_; }  // of typing and pasting; 0: none
  bool Locked() const { return locked_; }        // takes no typing, raises KeyPress
  // KeyPress writes the text on its own, as in a date mask: the click that brings the focus leaves
  // the caret where GotFocus has put it, and cutting, pasting and undoing aren't offered.
  bool Masked() const { return masked_; }
  // Takes a code: what is pasted loses blanks and line ends around it before it is cut to length.
  bool Trims() const { return trims_; }
  // Caret, as an offset from 0, and length of the selection after it. Setting
  // SelStart past the end means the end, and drops the selection.
  int SelStart() const { return sel_start_; }
  int SelLength() const { return sel_length_; }
  // The end of the selection where the caret stands.
  int ActiveEnd() const { return active_at_start_ ? sel_start_ : sel_start_ + sel_length_; }
  bool CanUndo() const { return can_undo_; }
  // How many keys have come to nothing here in all: those that the box drops, because it is
  // full or locked, and those of which KeyPress leaves none. Counts up, so that a screen sees
  // each of them. A paste that is cut to length is one; Backspace, Delete, cut and undo with
  // nothing to act on are none.
  int Refusals() const { return refusals_; }
  void SetSelStart(int offset);
  void SelectAll();

  std::function<void()> Change;
  // The key's code; what the handler leaves there is what the box acts on,
  // 0 for nothing. Besides characters: 8 Backspace, 13 Enter, kPaste, kCut, kUndo.
  std::function<void(std::int16_t& keyCode)> KeyPress;

  std::u16string Copied(Choice choice, int row) const override;

 protected:
  void Reset(const Design& design) override;
  bool TakesFocus() const override { return true; }
  void OnClick(int caret) override;
  void OnKey(const KeyStroke& stroke) override;
  std::vector<MenuEntry> Menu(int row) const override;

 private:
  friend class Form;
  struct State {
    std::u16string text;
    int caret = 0;
  };

  void OnCaretKey(const KeyStroke& stroke);
  void Press(char16_t code);
  void PressPair(char16_t high, char16_t low);
  template <class Action>
  void CountRefusal(bool empties, Action act);
  void Refuse();
  void ActOn(char16_t code);
  void Insert(std::u16string_view units);
  void Paste(std::u16string_view clipboard);
  void Undo();
  void DeleteRange(int start, int length);
  void Replace(int start, int length, std::u16string_view with, bool typing);
  void MoveCaret(int offset, bool extend);
  // Where a step of the caret ends, by characters or to the beginnings of words.
  int StepLeft(int offset) const;
  int StepRight(int offset) const;
  int WordLeft(int offset) const;
  int WordRight(int offset) const;

  std::u16string text_;
  int max_length_ = 0;
  bool locked_ = false;
  bool masked_ = false;
  bool trims_ = false;
  int sel_start_ = 0, sel_length_ = 0;
  bool active_at_start_ = false;  // which end of the selection Shift+arrow moves
  State before_;                  // what undo brings back
  bool can_undo_ = false;
  bool typing_ = false;  // the last edit was a typed character: the next one joins it
  int refusals_ = 0;
  // Of the key that is being acted on: the box has dropped it, the text or the caret was set.
  bool dropped_ = false, changed_ = false, moved_ = false;
};

// List box, unsorted, one row selected or none.
class ListBox : public Control {
 public:
  static constexpr int kRowHeight = 210;  // twips
  static constexpr int kInset = 30;       // twips, border on each side
  static constexpr int kBar = 210;        // twips, breadth of a scroll bar

  using Control::Control;

  void AddItem(std::u16string_view row);
  void Clear();
  // The row's text; empty for -1. Throws Misuse for any other row that isn't
  // there. Valid until Clear.
  std::u16string_view List(int row) const;
  int ListCount() const { return count_; }
  int ListIndex() const { return list_index_; }  // -1: nothing selected
  std::u16string Text() const { return std::u16string(List(list_index_)); }
  // Selects the row, which must be there, and brings it into view; raises Click, also when it is
  // the same one. Ends a search.
  void Select(int row);
  // Rows that fit into the list's height at once, above the horizontal scroll bar that it
  // has while a row is wider than the list.
  int VisibleRows() const { return RowsIn(Wide() ? kBar : 0); }
  bool Wide() const;
  bool Long() const { return count_ > VisibleRows(); }  // has a vertical scroll bar
  // Characters of the widest row, without blanks at its end.
  int Widest() const { return static_cast<int>(widest_); }
  // The first row in view; Clear makes it 0, and a row that gets selected comes into view. A row
  // too far down to be the first is brought up to the last one that can be.
  int TopIndex() const { return top_index_; }
  void SetTopIndex(int row);
  // The TopIndex that brings `row` into view with the least scrolling.
  int TopToShow(int row) const;
  // Where keys go on while nothing is selected: from `row`, as if it were selected.
  // `gone`: the row that stood there has gone, so Down selects `row`, which took its
  // place, and Up the one above. Clear forgets it.
  void GoOnFrom(int row, bool gone = false);
  // The selected row, or the one of GoOnFrom; -1 if neither.
  int GoesOnFrom() const { return list_index_ >= 0 ? list_index_ : from_; }
  // What typed letters find: a row from `firstRow` on whose text begins so at `column`,
  // or, where there is none, any row in which a word begins so.
  void SetSearch(int column, int firstRow);
  // Letters are being looked for: typed within the last kSearchPause, with no other key between.
  bool Searching() const;
  static constexpr std::chrono::milliseconds kSearchPause{2000};
  // These letters, in the plain form of text::AppendPlain; after the search those of the last
  // one, for F3. Found is false where no row fits them, so that the selection has stayed.
  std::u16string_view Sought() const;
  bool Found() const { return found_; }

  // Counts up at each AddItem and Clear, so that a screen sees that rows have changed.
  std::uint64_t Revision() const { return revision_; }

  std::function<void()> DblClick;  // also by Enter on the selected row
  // The code that a row bears, for copying; "" where it bears none.
  std::function<std::u16string(int row)> Code;
  // What a right click on a row offers before copying; where there is any, it selects the row
  // first.
  struct RowCommand {
    const char16_t* caption;
    Control* button;  // is pressed; null: as a double click on the row
  };
  std::vector<RowCommand> RowCommands;

  std::u16string Copied(Choice choice, int row) const override;

 protected:
  void Reset(const Design& design) override;
  bool TakesFocus() const override { return true; }
  int LineToClick() const override { return kInset; }
  void OnClick(int caret) override;
  void OnKey(const KeyStroke& stroke) override;
  std::vector<MenuEntry> Menu(int row) const override;

 private:
  friend class Form;
  // Rows lie end to end in blocks, so that a million of them take little more
  // room than their characters.
  static constexpr int kBlockRows = 1024;
  struct Block {
    std::u16string text;
    std::vector<std::uint32_t> ends;
  };

  int RowsIn(int bar) const { return (Height() - 2 * kInset - bar) / kRowHeight; }
  int Here() const;
  void Show(int row);
  void Find(char16_t c);
  void TakeBack();
  void FindAgain(bool backwards);
  void Step(int rows);
  int Searched(int from, int direction, std::u16string_view letters, bool words) const;
  int Searched(int from, int direction, std::u16string_view letters) const;

  std::vector<std::unique_ptr<Block>> blocks_;
  int count_ = 0;
  std::size_t widest_ = 0;
  int list_index_ = -1;
  int top_index_ = 0;
  int from_ = -1;
  bool gone_ = false;
  int search_column_ = 0, search_first_ = 0;
  std::uint64_t revision_ = 0;
  std::u16string sought_;
  bool searching_ = false, found_ = false;
  bool first_ = false;  // the same letter again: only the first one counts
  std::chrono::milliseconds searched_at_{};
};

class OptionButton : public Button {
 public:
  using Button::Button;

  bool Value() const { return value_; }
  // On: the others in the same frame go off, and Click comes. No Click where
  // the value stays what it was.
  void SetValue(bool on);

  // The user has pressed the button while it was on.
  std::function<void()> Again;

 protected:
  void Reset(const Design& design) override;
  bool IsTabStop() const override;
  void OnKey(const KeyStroke& stroke) override;
  void Act() override;

 private:
  std::vector<OptionButton*> Group() const;

  bool value_ = false;
};

// Two panels: the first as wide as its text needs, the second along the rest.
class StatusBar : public Control {
 public:
  class Panel {
   public:
    const std::u16string& Text() const { return text_; }
    void SetText(std::u16string_view text);

   private:
    friend class StatusBar;
    StatusBar* bar_ = nullptr;
    std::u16string text_;
  };

  explicit StatusBar(std::u16string name, int index = -1);
  // Counted from 1. Throws Misuse.
  Panel& Panels(int n);
  int PanelCount() const { return static_cast<int>(panels_.size()); }

 protected:
  void Reset(const Design& design) override;

 private:
  std::vector<Panel> panels_;
};

// Controls of one name, each with an index of its own; the indices may have gaps.
template <class T>
class ControlArray {
 public:
  ControlArray(std::u16string name, const std::vector<int>& indices) : name_(std::move(name)) {
    for (const int i : indices) {
      if (static_cast<int>(members_.size()) <= i) {
        members_.resize(static_cast<std::size_t>(i) + 1);
      }
      members_[static_cast<std::size_t>(i)] = std::make_unique<T>(name_, i);
    }
  }
  // Throws Misuse for a member that doesn't exist.
  T& operator()(int index) {
    if (!Has(index)) {
      throw Misuse("no such member of a control array");
    }
    return *members_[static_cast<std::size_t>(index)];
  }
  bool Has(int index) const {
    return index >= 0 && index < Bound() && members_[static_cast<std::size_t>(index)];
  }
  int Bound() const { return static_cast<int>(members_.size()); }  // highest index + 1

 private:
  std::u16string name_;
  std::vector<std::unique_ptr<T>> members_;
};

}  // namespace toolkit
