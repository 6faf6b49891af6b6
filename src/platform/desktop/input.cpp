#include "platform/desktop/input.h"

#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <optional>
#include <utility>

#include "platform/desktop/keys.h"
#include "platform/text/text.h"
#include "platform/toolkit/application.h"

namespace desktop {

using toolkit::App;
using toolkit::Key;

namespace {

// Which way a key zooms that is pressed with Ctrl: larger, smaller, 0 as designed.
std::optional<int> ZoomOf(const QKeyEvent& event) {
  switch (event.key()) {
    case Qt::Key_Plus:
      return 1;
    case Qt::Key_Minus:
      return -1;
    case Qt::Key_0:
      return 0;
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
  for (const Control* control : form.Controls()) {
    ControlView& shown = view_.ViewOf(*control);
    Watch(shown.Widget(), shown);
    shown.Listen(*this);
  }
}

void Input::SetBlocked(bool blocked) {
  blocked_ = blocked;
  held_ = true;
  pressed_ = nullptr;
}

void Input::Watch(QObject& object, ControlView& view) {
  views_[&object] = &view;
  object.installEventFilter(this);
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
  ControlView* view = nullptr;
  if (const auto found = views_.find(object); found != views_.end()) {
    view = found->second;
  }
  const bool blocked = blocked_ || App().ended;
  switch (event->type()) {
    case QEvent::ShortcutOverride:
      event->accept();
      return true;
    case QEvent::KeyPress:
      if (!blocked) {
        OnKeyPress(static_cast<QKeyEvent&>(*event));
      }
      return true;
    case QEvent::KeyRelease:
      repeats_.Is(static_cast<QKeyEvent&>(*event));
      return true;
    case QEvent::InputMethod:
      if (!blocked) {
        OnCharacters(static_cast<QInputMethodEvent*>(event)->commitString());
      }
      return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
      event->accept();
      return blocked || OnMouse(view, static_cast<QMouseEvent&>(*event));
    case QEvent::ContextMenu:
      if (!blocked && view != nullptr) {
        OnContextMenu(*view, static_cast<QContextMenuEvent&>(*event));
      }
      return true;
    case QEvent::FocusIn:
      if (!blocked && view != nullptr) {
        OnFocus(*view, static_cast<QFocusEvent&>(*event));
      }
      return false;
    case QEvent::Close:
      event->ignore();
      if (object == &view_.Root() && !blocked) {
        form_.UserClose();
        After();
      }
      return true;
    default:
      return false;
  }
}

void Input::OnKeyPress(QKeyEvent& event) {
  held_ = held_ && repeats_.Is(event);
  event.setAccepted(held_ || OnEdit(event) || OnKey(event));
}

// Only assistive technology gives the focus without the model.
void Input::OnFocus(ControlView& view, const QFocusEvent& event) {
  if (view_.Syncing() || view.Shown().HasFocus()) {
    return;
  }
  if (event.reason() == Qt::OtherFocusReason) {
    form_.UserFocus(view.Shown());
  }
  After();
}

bool Input::OnEdit(const QKeyEvent& event) {
  if (event.matches(QKeySequence::Copy)) {
    form_.UserCopy();
  } else if (event.matches(QKeySequence::Cut) && event.key() != Qt::Key_Delete) {
    form_.UserCut();
  } else if (event.matches(QKeySequence::Paste)) {
    form_.UserPaste();
  } else if (event.matches(QKeySequence::Undo) ||
             (event.modifiers() & Qt::AltModifier && event.key() == Qt::Key_Backspace)) {
    form_.UserUndo();
  } else if (event.matches(QKeySequence::SelectAll)) {
    form_.UserSelectAll();
  } else {
    return false;
  }
  After();
  return true;
}

bool Input::OnKey(const QKeyEvent& event) {
  const Qt::KeyboardModifiers with = event.modifiers();
  const bool shift = with & Qt::ShiftModifier;
  const bool control = with & Qt::ControlModifier, alt = with & Qt::AltModifier;
  auto done = [this](bool) {
    After();
    return true;
  };
  if (event.key() == Qt::Key_F10 && shift && !control && !alt) {
    if (form_.Focus() != nullptr) {
      OnContextMenu(view_.ViewOf(*form_.Focus()),
                    QContextMenuEvent(QContextMenuEvent::Keyboard, QPoint(), QPoint()));
    }
    return true;
  }
  if (const auto key = KeyOf(event.key())) {
    if (alt || (*key == Key::Tab && control)) {
      return false;
    }
    return done(form_.UserKey(
        {.key = *key, .shift = shift || event.key() == Qt::Key_Backtab, .control = control}));
  }
  if (const auto step = ZoomOf(event); step && control && !alt) {
    view_.ZoomBy(*step);
    return true;
  }
  const bool own = (event.key() >= Qt::Key_0 && event.key() <= Qt::Key_9) ||
                   (event.key() >= Qt::Key_A && event.key() <= Qt::Key_Z);
  if (control && !alt && own) {
    const auto letter = static_cast<char16_t>(event.key());
    return done(form_.UserKey({.key = Key::Character, .text = {&letter, 1}, .control = true}));
  }
  const QString typed = event.text();
  if (alt && !control) {
    int letter = event.key();
    if (!typed.isEmpty()) {
      letter = typed.at(0).unicode();
    }
    return letter > ' ' && letter < 0x10000 &&
           done(form_.UserAccess(static_cast<char16_t>(letter)));
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

bool Input::OnMouse(ControlView* view, QMouseEvent& event) {
  if (view == nullptr) {
    pressed_ = nullptr;
  } else if (event.type() == QEvent::MouseMove) {
    if (pressed_ == view && event.buttons() & Qt::LeftButton) {
      view->OnDrag(*this, event);
    }
  } else if (event.button() != Qt::LeftButton) {
    return true;
  } else if (event.type() != QEvent::MouseButtonRelease) {
    // Two quick presses on different things are no double click.
    const bool again = std::exchange(pressed_, view) == view;
    view->OnPress(*this, event, again);
  } else if (pressed_ == view) {
    view->OnRelease(*this, event);
  }
  return true;
}

void Input::OnContextMenu(ControlView& view, const QContextMenuEvent& event) {
  Control& control = view.Shown();
  QWidget& widget = view.Widget();
  const auto [row, caret] = view.SpotOf(event);
  const std::vector<toolkit::MenuEntry> entries = form_.UserMenu(control, row, caret);
  After();
  if (entries.empty()) {
    return;
  }
  auto* menu = new QMenu(&view_.Root());
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->setFont(BoxFont());
  const toolkit::Choice first = entries.front().choice;
  for (const toolkit::MenuEntry& entry : entries) {
    if (entry.choice == toolkit::Choice::Cut || entry.choice == toolkit::Choice::SelectAll ||
        (entry.choice == toolkit::Choice::CopyCode && first != toolkit::Choice::CopyCode)) {
      menu->addSeparator();
    }
    QAction* action = menu->addAction(QString::fromUtf16(entry.caption));
    action->setEnabled(entry.enabled);
    connect(action, &QAction::triggered, this, [this, &control, row = row, entry] {
      form_.UserChoose(control, row, entry);
      After();
    });
  }
  const bool byKey = event.reason() == QContextMenuEvent::Keyboard;
  menu->popup(byKey ? widget.mapToGlobal(view.PlaceOf(row).bottomLeft()) : event.globalPos());
}

}  // namespace desktop
