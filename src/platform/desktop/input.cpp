#include "platform/desktop/input.h"

#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>
#include <QStyleHints>
#include <QTextBoundaryFinder>
#include <utility>

#include "platform/desktop/listview.h"
#include "platform/desktop/widgets.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"

namespace desktop {

using toolkit::App;
using toolkit::Key;
using toolkit::Kind;

namespace {

std::optional<Key> SpecialKey(int key) {
  switch (key) {
    case Qt::Key_Backspace:
      return Key::Backspace;
    case Qt::Key_Delete:
      return Key::Delete;
    case Qt::Key_Left:
      return Key::Left;
    case Qt::Key_Right:
      return Key::Right;
    case Qt::Key_Home:
      return Key::Home;
    case Qt::Key_End:
      return Key::End;
    case Qt::Key_Up:
      return Key::Up;
    case Qt::Key_Down:
      return Key::Down;
    case Qt::Key_PageUp:
      return Key::PageUp;
    case Qt::Key_PageDown:
      return Key::PageDown;
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return Key::Enter;
    case Qt::Key_Escape:
      return Key::Escape;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
      return Key::Tab;
    case Qt::Key_F3:
      return Key::F3;
    case Qt::Key_F4:
      return Key::F4;
    case Qt::Key_F5:
      return Key::F5;
    case Qt::Key_F6:
      return Key::F6;
    default:
      return std::nullopt;
  }
}

std::u16string_view Units(const QString& s) {
  return {reinterpret_cast<const char16_t*>(s.utf16()), static_cast<std::size_t>(s.size())};
}

}  // namespace

Input::Input(toolkit::Form& form, FormView& view) : form_(form), view_(view) {
  view_.Root().installEventFilter(this);
  idle_.setSingleShot(true);
  connect(&idle_, &QTimer::timeout, this, [this] {
    form_.Idle();
    After();
  });
  for (Control* control : form.Controls()) {
    Listen(*view_.WidgetOf(*control), *control);
  }
}

void Input::SetDeaf(bool deaf) {
  deaf_ = deaf;
  held_ = true;
  pressed_ = nullptr;
}

// Assistive technology works widgets without keys or mouse; what it does goes
// to the model as if the user had done it by hand.
void Input::Listen(QWidget& widget, Control& control) {
  controls_[&widget] = &control;
  widget.installEventFilter(this);
  switch (control.Type()) {
    case Kind::TextBox: {
      auto* field = static_cast<TextField*>(&widget);
      auto& box = static_cast<toolkit::TextBox&>(control);
      connect(field, &QLineEdit::textChanged, this, [this, &box] {
        if (!view_.Syncing()) {
          view_.Apply(box);
        }
      });
      connect(field, &QLineEdit::cursorPositionChanged, this, [this, &box, field](int, int to) {
        if (!view_.Syncing() && field->hasFocus()) {
          form_.UserSelect(box, to, to);
          After();
        }
      });
      break;
    }
    case Kind::ListBox: {
      auto& list = static_cast<toolkit::ListBox&>(control);
      auto& shown = static_cast<ListView&>(widget);
      shown.picked = [this, &list](int row) {
        form_.UserClickRow(list, row);
        After();
      };
      connect(shown.verticalScrollBar(), &QScrollBar::valueChanged, this, [this, &list](int row) {
        if (!view_.Syncing()) {
          form_.UserScroll(list, row);
        }
      });
      controls_[shown.viewport()] = &control;
      shown.viewport()->installEventFilter(this);
      break;
    }
    case Kind::CommandButton:
      connect(static_cast<Button*>(&widget), &QAbstractButton::clicked, this, [this, &control] {
        form_.UserClick(control);
        After();
      });
      break;
    case Kind::OptionButton:
      connect(static_cast<Option*>(&widget), &QAbstractButton::toggled, this,
              [this, &control](bool on) {
                if (!view_.Syncing()) {
                  if (on) {
                    form_.UserClick(control);
                  }
                  view_.Apply(control);
                  After();
                }
              });
      break;
    default:
      break;
  }
}

void Input::After() {
  if (!App().ended) {
    view_.Sync();
    // A search that the pause has ended goes from the screen.
    const auto* list = dynamic_cast<const toolkit::ListBox*>(form_.Focus());
    if (list != nullptr && list->Searching()) {
      idle_.start(toolkit::ListBox::kSearchPause);
    } else {
      idle_.stop();
    }
    return;
  }
  view_.Hide();
  QCoreApplication::exit(App().status);
}

bool Input::eventFilter(QObject* object, QEvent* event) {
  const auto found = controls_.find(object);
  Control* control = found != controls_.end() ? found->second : nullptr;
  const bool deaf = deaf_ || App().ended;
  switch (event->type()) {
    case QEvent::ShortcutOverride:
      event->accept();
      return true;
    case QEvent::KeyPress:
      if (const auto& key = static_cast<QKeyEvent&>(*event); !deaf) {
        held_ = held_ && repeats_.Is(key);
        event->setAccepted(held_ || OnKey(key));
      }
      return true;
    case QEvent::KeyRelease:
      repeats_.Is(static_cast<QKeyEvent&>(*event));
      return true;
    case QEvent::InputMethod:
      if (!deaf) {
        OnCharacters(static_cast<QInputMethodEvent*>(event)->commitString());
      }
      return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
      event->accept();
      return deaf || OnMouse(control, static_cast<QMouseEvent&>(*event));
    case QEvent::ContextMenu:
      if (!deaf && control != nullptr) {
        OnContextMenu(*control, static_cast<QContextMenuEvent&>(*event));
      }
      return true;
    case QEvent::FocusIn:
      // Only assistive technology gives the focus without the model.
      if (!view_.Syncing() && !deaf && control != nullptr && control != form_.Focus()) {
        if (static_cast<QFocusEvent*>(event)->reason() == Qt::OtherFocusReason) {
          form_.UserFocus(*control);
        }
        After();
      }
      return false;
    case QEvent::Close:
      event->ignore();
      if (object == &view_.Root() && !deaf) {
        form_.UserClose();
        After();
      }
      return true;
    default:
      return false;
  }
}

bool Input::OnKey(const QKeyEvent& event) {
  const Qt::KeyboardModifiers with = event.modifiers();
  const bool shift = with & Qt::ShiftModifier, control = with & Qt::ControlModifier,
             alt = with & Qt::AltModifier;
  auto done = [this](bool) {
    After();
    return true;
  };
  if (event.matches(QKeySequence::Copy)) {
    return done(form_.UserCopy());
  }
  if (event.matches(QKeySequence::Cut) && event.key() != Qt::Key_Delete) {
    return done(form_.UserCut());
  }
  if (event.matches(QKeySequence::Paste)) {
    return done(form_.UserPaste());
  }
  if (event.matches(QKeySequence::Undo) || (alt && event.key() == Qt::Key_Backspace)) {
    return done(form_.UserUndo());
  }
  if (event.matches(QKeySequence::SelectAll)) {
    return done(form_.UserSelectAll());
  }
  if (const auto key = SpecialKey(event.key())) {
    if (alt || (*key == Key::Tab && control)) {
      return false;
    }
    return done(form_.UserKey(
        {.key = *key, .shift = shift || event.key() == Qt::Key_Backtab, .control = control}));
  }
  if (control && !alt &&
      ((event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z) ||
       (event.key() >= Qt::Key_0 && event.key() <= Qt::Key_9))) {
    const auto letter = static_cast<char16_t>(event.key());
    return done(form_.UserKey({.key = Key::Character, .text = {&letter, 1}, .control = true}));
  }
  const QString typed = event.text();
  if (alt && !control) {
    const char16_t letter = !typed.isEmpty()        ? typed.at(0).unicode()
                            : event.key() < 0x10000 ? static_cast<char16_t>(event.key())
                                                    : u'\0';
    return letter > u' ' && done(form_.UserAccess(letter));
  }
  if (control != alt || with & Qt::MetaModifier || typed.isEmpty()) {
    return false;
  }
  OnCharacters(typed);
  return true;
}

void Input::OnCharacters(const QString& characters) {
  const std::u16string_view units = Units(characters);
  for (std::size_t i = 0; i < units.size() && !App().ended;) {
    const bool pair = text::IsHighSurrogate(units[i]) && i + 1 < units.size() &&
                      text::IsLowSurrogate(units[i + 1]);
    const std::u16string_view one = units.substr(i, pair ? 2 : 1);
    i += one.size();
    if (!text::IsControl(one[0])) {
      form_.UserKey({.key = Key::Character, .text = one});
    }
  }
  if (!characters.isEmpty()) {
    After();
  }
}

bool Input::OnMouse(Control* control, QMouseEvent& event) {
  if (control == nullptr) {
    pressed_ = nullptr;
    return true;
  }
  switch (event.type()) {
    case QEvent::MouseMove: {
      if (pressed_ == control && event.buttons() & Qt::LeftButton) {
        if (control->Type() == Kind::TextBox) {
          OnTextMouse(static_cast<toolkit::TextBox&>(*control), event);
        } else if (auto* button = dynamic_cast<QAbstractButton*>(view_.WidgetOf(*control))) {
          button->setDown(button->rect().contains(event.position().toPoint()));
        }
      }
      return true;
    }
    case QEvent::MouseButtonRelease:
      if (event.button() == Qt::LeftButton) {
        OnRelease(*control, event);
      }
      return true;
    default:
      if (event.button() == Qt::LeftButton) {
        OnPress(*control, event);
      }
      return true;
  }
}

void Input::OnPress(Control& control, const QMouseEvent& event) {
  // Two quick presses on different things are no double click.
  const bool again = event.type() == QEvent::MouseButtonDblClick && pressed_ == &control;
  if (std::exchange(pressed_, &control) != &control) {
    doubled_ = 0;
  }
  QWidget& widget = *view_.WidgetOf(control);
  switch (control.Type()) {
    case Kind::TextBox:
      OnTextMouse(static_cast<toolkit::TextBox&>(control), event);
      break;
    case Kind::ListBox: {
      auto& list = static_cast<toolkit::ListBox&>(control);
      const int row = static_cast<ListView&>(widget).RowAt(event.position().toPoint());
      if (again && row == pressedRow_) {
        form_.UserDblClickRow(list, row);
      } else {
        pressedRow_ = row;
        form_.UserClickRow(list, row);
      }
      After();
      break;
    }
    case Kind::CommandButton:
    case Kind::OptionButton:
      static_cast<QAbstractButton&>(widget).setDown(control.Usable());
      break;
    default:
      break;
  }
}

void Input::OnTextMouse(toolkit::TextBox& box, const QMouseEvent& event) {
  auto& field = static_cast<TextField&>(*view_.WidgetOf(box));
  const int at = field.cursorPositionAt(event.position().toPoint());
  const bool focused = form_.Focus() == &box;
  if (event.type() == QEvent::MouseMove) {
    if (!focused || anchor_ < 0 || at == box.ActiveEnd()) {
      return;
    }
    form_.UserSelect(box, anchor_, at);
  } else if (event.type() == QEvent::MouseButtonDblClick && focused) {
    QTextBoundaryFinder words(QTextBoundaryFinder::Word, field.text());
    words.setPosition(at);
    const auto end = words.toNextBoundary();
    const auto start = words.toPreviousBoundary();
    if (end < 0 || start < 0) {
      return;
    }
    anchor_ = static_cast<int>(start);
    doubled_ = event.timestamp();
    form_.UserSelect(box, anchor_, static_cast<int>(end));
  } else if (focused && doubled_ != 0 &&
             event.timestamp() - doubled_ <
                 static_cast<quint64>(QGuiApplication::styleHints()->mouseDoubleClickInterval())) {
    anchor_ = -1;
    doubled_ = 0;
    form_.UserSelectAll();
  } else if (focused && event.modifiers() & Qt::ShiftModifier) {
    anchor_ = box.ActiveEnd() == box.SelStart() ? box.SelStart() + box.SelLength() : box.SelStart();
    form_.UserSelect(box, anchor_, at);
  } else {
    anchor_ = focused || !box.Masked() ? at : -1;
    form_.UserClick(box, at);
  }
  After();
}

void Input::OnRelease(Control& control, const QMouseEvent& event) {
  if (pressed_ != &control || control.Type() == Kind::TextBox || control.Type() == Kind::ListBox) {
    return;
  }
  QWidget& widget = *view_.WidgetOf(control);
  const bool inside = widget.rect().contains(event.position().toPoint());
  if (auto* button = dynamic_cast<QAbstractButton*>(&widget)) {
    button->setDown(false);
  }
  if (inside) {
    form_.UserClick(control);
    After();
  }
}

void Input::OnContextMenu(Control& control, const QContextMenuEvent& event) {
  const bool byKey = event.reason() == QContextMenuEvent::Keyboard;
  QWidget& widget = *view_.WidgetOf(control);
  int row = -1, caret = 0;
  if (control.Type() == Kind::TextBox) {
    caret = static_cast<TextField&>(widget).cursorPositionAt(event.pos());
  } else if (control.Type() == Kind::ListBox) {
    row = byKey ? static_cast<toolkit::ListBox&>(control).ListIndex()
                : static_cast<ListView&>(widget).RowAt(event.pos());
  }
  const std::vector<toolkit::MenuEntry> entries = form_.UserMenu(control, row, caret);
  After();
  if (entries.empty()) {
    return;
  }
  auto* menu = new QMenu(&view_.Root());
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setFont(BoxFont());
  for (const toolkit::MenuEntry& entry : entries) {
    if (entry.choice == toolkit::Choice::Cut || entry.choice == toolkit::Choice::SelectAll) {
      menu->addSeparator();
    }
    QAction* action = menu->addAction(QString::fromUtf16(entry.caption));
    action->setEnabled(entry.enabled);
    connect(action, &QAction::triggered, this, [this, &control, row, choice = entry.choice] {
      form_.UserChoose(control, row, choice);
      After();
    });
  }
  menu->popup(byKey ? widget.mapToGlobal(widget.rect().bottomLeft()) : event.globalPos());
}

}  // namespace desktop
