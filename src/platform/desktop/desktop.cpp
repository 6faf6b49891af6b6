#include "platform/desktop/desktop.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QScopedValueRollback>
#include <QScreen>
#include <QTextBoundaryFinder>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <unordered_map>

#include "platform/desktop/accessible.h"
#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/desktop/widgets.h"
#include "platform/text/text.h"

namespace desktop {

using toolkit::App;
using toolkit::Control;
using toolkit::Key;
using toolkit::KeyStroke;
using toolkit::Kind;

namespace {

// The form's measures are those of a window with its frame, whose borders and
// title take this much. What is left is the inner size here, where the desktop
// adds a frame of its own.
constexpr int kBorders = 105, kTitle = 375;

constexpr const char* kAnswer = "answer";

template <class T>
const T& As(const Control& control) {
  return static_cast<const T&>(control);
}

// A message box that Escape and the frame's button close only where they have
// an answer to give; Qt would take "No" for one.
class Box : public QMessageBox {
 public:
  Box(QWidget* parent, bool escapable) : QMessageBox(parent), escapable_(escapable) {}

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (escapable_ || !event->matches(QKeySequence::Cancel)) {
      QMessageBox::keyPressEvent(event);
    }
  }
  void closeEvent(QCloseEvent* event) override {
    if (escapable_) {
      QMessageBox::closeEvent(event);
    } else {
      event->ignore();
    }
  }

 private:
  bool escapable_;
};

QMessageBox::ButtonRole RoleOf(int code) {
  switch (code) {
    case toolkit::kYes:
      return QMessageBox::YesRole;
    case toolkit::kNo:
      return QMessageBox::NoRole;
    case toolkit::kCancel:
      return QMessageBox::RejectRole;
    default:
      return QMessageBox::AcceptRole;
  }
}

QMessageBox::Icon IconOf(toolkit::MessageIcon icon) {
  switch (icon) {
    case toolkit::MessageIcon::Critical:
      return QMessageBox::Critical;
    case toolkit::MessageIcon::Question:
      return QMessageBox::Question;
    case toolkit::MessageIcon::Information:
      return QMessageBox::Information;
    case toolkit::MessageIcon::None:
      break;
  }
  return QMessageBox::NoIcon;
}

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
    default:
      return std::nullopt;
  }
}

std::u16string_view Units(const QString& s) {
  return {reinterpret_cast<const char16_t*>(s.utf16()), static_cast<std::size_t>(s.size())};
}

}  // namespace

// The widgets, and the user's hands on them: sees every event before the
// widget it is for.
class Window::Hands : public QObject {
 public:
  Hands(toolkit::Form& form, Window& window);

  void Show();
  void Sync();
  int Ask(const toolkit::Message& message);
  void Repaint();
  QWidget* WidgetOf(const Control& control) const;
  std::optional<QPoint> ShowRow(const toolkit::ListBox& list, int row);

  QWidget root;

  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void Make(Control& control);
  void Own(QWidget& widget, Control& control);
  void Apply(Control& control);
  void TellLabels(const Control& label);
  void ApplyFocus();
  void ShowBusy(bool busy);
  QSize InnerSize() const;
  void After();

  bool OnKey(const QKeyEvent& event);
  void OnCharacters(const QString& characters);
  bool OnMouse(Control* control, QMouseEvent& event);
  void OnPress(Control& control, const QMouseEvent& event);
  void OnTextMouse(toolkit::TextBox& box, const QMouseEvent& event);
  void OnRelease(Control& control, const QMouseEvent& event);
  void OnContextMenu(Control* control, const QContextMenuEvent& event);

  toolkit::Form& form_;
  Window& window_;
  std::unordered_map<const Control*, QWidget*> widgets_;
  std::unordered_map<const QObject*, Control*> controls_;  // viewports too
  std::unordered_map<const Control*, std::vector<Control*>> labelled_;

  bool shown_ = false;
  bool busy_ = false;
  bool syncing_ = false;  // what widgets report meanwhile is our own doing
  bool asking_ = false;   // a message box is up: the form takes nothing
  const Control* focus_ = nullptr;

  Control* pressed_ = nullptr;  // where the left button went down
  int pressedRow_ = -1;
  int anchor_ = 0;  // where dragging in a text box began
  std::chrono::steady_clock::time_point painted_;
};

Window::Hands::Hands(toolkit::Form& form, Window& window) : form_(form), window_(window) {
  root.setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                      Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                      Qt::WindowCloseButtonHint);
  root.installEventFilter(this);
  QPalette palette = root.palette();
  palette.setColor(QPalette::Window, ToQt(form.BackColor()));
  root.setPalette(palette);
  const QScopedValueRollback quiet(syncing_, true);
  for (Control* control : form.Controls()) {
    Make(*control);
  }
  for (Control* control : form.Controls()) {
    widgets_.at(control)->raise();
    if (control->Label() != nullptr) {
      labelled_[control->Label()].push_back(control);
    }
  }
  for (Control* control : form.Controls()) {
    Apply(*control);
  }
}

void Window::Hands::Own(QWidget& widget, Control& control) {
  controls_[&widget] = &control;
  widget.installEventFilter(this);
}

// Assistive technology works widgets without keys or mouse; what it does goes
// to the model as if the user had done it by hand.
void Window::Hands::Make(Control& control) {
  if (widgets_.contains(&control)) {
    return;
  }
  QWidget* parent = &root;
  if (control.Container() != nullptr) {
    Make(*control.Container());
    parent = widgets_.at(control.Container());
  }
  QWidget* made = nullptr;
  switch (control.Type()) {
    case Kind::TextBox: {
      auto* field = new TextField(parent);
      auto& box = static_cast<toolkit::TextBox&>(control);
      connect(field, &QLineEdit::textChanged, this, [this, &box] {
        if (!syncing_) {
          Apply(box);
        }
      });
      connect(field, &QLineEdit::cursorPositionChanged, this, [this, &box, field](int, int to) {
        if (!syncing_ && field->hasFocus()) {
          form_.UserSelect(box, to, to);
          After();
        }
      });
      made = field;
      break;
    }
    case Kind::ListBox: {
      auto& list = static_cast<toolkit::ListBox&>(control);
      auto* view = new ListView(list, parent);
      view->picked = [this, &list](int row) {
        form_.UserClickRow(list, row);
        After();
      };
      Own(*view->viewport(), control);
      made = view;
      break;
    }
    case Kind::CommandButton: {
      auto* button = new Button(parent);
      connect(button, &QAbstractButton::clicked, this, [this, &control] {
        form_.UserClick(control);
        After();
      });
      made = button;
      break;
    }
    case Kind::OptionButton: {
      auto* button = new Option(parent);
      connect(button, &QAbstractButton::toggled, this, [this, &control](bool on) {
        if (!syncing_) {
          if (on) {
            form_.UserClick(control);
          }
          Apply(control);
          After();
        }
      });
      made = button;
      break;
    }
    case Kind::Label:
      made = new LabelBox(parent);
      break;
    case Kind::Frame:
      made = new FrameBox(parent);
      break;
    case Kind::Shape:
      made = new ShapeBox(parent);
      break;
    case Kind::StatusBar:
      made = new StatusBox(parent);
      break;
  }
  made->setObjectName(QString::fromStdU16String(control.FullName()));
  widgets_[&control] = made;
  Own(*made, control);
}

// --- From the model to the screen

void Window::Hands::Apply(Control& control) {
  const QScopedValueRollback quiet(syncing_, true);
  QWidget& widget = *widgets_.at(&control);
  if (const QRect place = PixelRect(control); widget.geometry() != place) {
    widget.setGeometry(place);
  }
  switch (control.Type()) {
    case Kind::TextBox:
      static_cast<TextField&>(widget).Apply(As<toolkit::TextBox>(control),
                                            form_.Focus() == &control);
      break;
    case Kind::ListBox:
      static_cast<ListView&>(widget).Apply();
      break;
    case Kind::CommandButton:
      static_cast<Button&>(widget).Apply(As<toolkit::CommandButton>(control));
      break;
    case Kind::OptionButton:
      static_cast<Option&>(widget).Apply(As<toolkit::OptionButton>(control));
      break;
    case Kind::Label:
      static_cast<LabelBox&>(widget).Apply(As<toolkit::Label>(control));
      TellLabels(control);
      break;
    case Kind::Frame:
      static_cast<FrameBox&>(widget).Apply(As<toolkit::Frame>(control));
      break;
    case Kind::Shape:
      static_cast<ShapeBox&>(widget).Apply(As<toolkit::Shape>(control));
      break;
    case Kind::StatusBar:
      static_cast<StatusBox&>(widget).Apply(static_cast<toolkit::StatusBar&>(control));
      break;
  }
  if (const QString tip = PlainToolTip(control.ToolTipText()); widget.toolTip() != tip) {
    widget.setToolTip(tip);
  }
  widget.setEnabled(control.Enabled());
  widget.setVisible(control.Visible());
}

// Tells what stands by a label, for those who hear the form instead of seeing it.
void Window::Hands::TellLabels(const Control& label) {
  const auto found = labelled_.find(&label);
  if (found == labelled_.end()) {
    return;
  }
  const QString name = Spoken(label.Caption());
  for (const Control* control : found->second) {
    QWidget& widget = *widgets_.at(control);
    if (control->Type() == Kind::OptionButton) {
      if (control->Container() != nullptr) {
        widgets_.at(control->Container())->setAccessibleName(name);
      }
    } else if (control->Type() != Kind::CommandButton ||
               std::ranges::none_of(Spoken(control->Caption()),
                                    [](QChar c) { return c.isLetter(); })) {
      widget.setAccessibleName(name);
    }
  }
}

QSize Window::Hands::InnerSize() const {
  int right = form_.Width() - kBorders, bottom = form_.Height() - kTitle;
  for (const Control* control : form_.Controls()) {
    if (control->Container() == nullptr && control->Visible()) {
      right = std::max(right, control->Left() + control->Width());
      bottom = std::max(bottom, control->Top() + control->Height());
    }
  }
  return QSize(Pixels(right), Pixels(bottom));
}

void Window::Hands::Show() {
  Sync();
  const QScreen* screen = root.screen();
  const QRect room = screen->availableGeometry();
  const QPoint wanted =
      screen->geometry().topLeft() + QPoint(Pixels(form_.Left()), Pixels(form_.Top()));
  auto within = [](int at, int from, int length, int needed) {
    return std::max(from, std::min(at, from + length - needed));
  };
  root.move(within(wanted.x(), room.x(), room.width(), Pixels(form_.Width())),
            within(wanted.y(), room.y(), room.height(), Pixels(form_.Height())));
  {
    const QScopedValueRollback quiet(syncing_, true);
    root.show();
  }
  shown_ = true;
  Sync();
  root.activateWindow();
}

void Window::Hands::Sync() {
  const QScopedValueRollback quiet(syncing_, true);
  for (Control* control : form_.TakeTouched()) {
    Apply(*control);
  }
  if (const QString title = Display(form_.Caption()); root.windowTitle() != title) {
    root.setWindowTitle(title);
  }
  if (const QSize size = InnerSize(); root.size() != size) {
    root.setFixedSize(size);
  }
  ApplyFocus();
  ShowBusy(toolkit::Screen.MousePointer == 11);
}

void Window::Hands::ApplyFocus() {
  const Control* now = form_.Focus();
  if (now != focus_) {
    for (const Control* control : {std::exchange(focus_, now), now}) {
      if (control != nullptr && control->Type() == Kind::TextBox) {
        static_cast<TextField&>(*widgets_.at(control))
            .Apply(As<toolkit::TextBox>(*control), control == now);
      }
    }
  }
  QWidget* wanted = now != nullptr ? widgets_.at(now) : &root;
  if (shown_ && root.focusWidget() != wanted) {
    wanted->setFocus(Qt::OtherFocusReason);
  }
}

void Window::Hands::ShowBusy(bool busy) {
  if (std::exchange(busy_, busy) != busy) {
    busy ? QGuiApplication::setOverrideCursor(Qt::WaitCursor)
         : QGuiApplication::restoreOverrideCursor();
  }
}

// Called for each row of a long list: more often than the eye can follow it
// costs a look at the clock.
void Window::Hands::Repaint() {
  constexpr auto kFrame = std::chrono::microseconds(16667);
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || now - painted_ < kFrame) {
    return;
  }
  painted_ = now;
  Sync();
  // Paints what is dirty, at once, and lets no other event in.
  QEvent paint(QEvent::UpdateRequest);
  QCoreApplication::sendEvent(&root, &paint);
}

int Window::Hands::Ask(const toolkit::Message& message) {
  Sync();
  const bool wasBusy = busy_;
  ShowBusy(false);
  pressed_ = nullptr;
  Box box(shown_ ? &root : nullptr, message.escape != 0);
  box.setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowSystemMenuHint |
                     (message.escape != 0 ? Qt::WindowCloseButtonHint : Qt::WindowFlags()));
  box.setWindowTitle(Display(message.title));
  box.setTextFormat(Qt::PlainText);
  box.setText(DisplayLines(message.text));
  box.setIcon(IconOf(message.icon));
  for (const toolkit::MessageButton& button : message.buttons) {
    QPushButton* made = box.addButton(Display(button.caption), RoleOf(button.code));
    made->setProperty(kAnswer, button.code);
    if (&button == &message.buttons.front()) {
      box.setDefaultButton(made);
    }
    if (button.code == message.escape) {
      box.setEscapeButton(made);
    }
  }
  if (window_.whenAsked) {
    QTimer::singleShot(0, &box, [&] { window_.whenAsked(box, message); });
  }
  {
    const QScopedValueRollback asking(asking_, true);
    box.exec();
  }
  ShowBusy(wasBusy);
  // No button where the whole application is being closed from outside: what
  // does least is the last one.
  return box.clickedButton() != nullptr ? box.clickedButton()->property(kAnswer).toInt()
         : message.escape != 0          ? message.escape
                                        : message.buttons.back().code;
}

QWidget* Window::Hands::WidgetOf(const Control& control) const {
  const auto found = widgets_.find(&control);
  return found != widgets_.end() ? found->second : nullptr;
}

std::optional<QPoint> Window::Hands::ShowRow(const toolkit::ListBox& list, int row) {
  auto& view = static_cast<ListView&>(*widgets_.at(&list));
  Sync();
  QPoint place(view.viewport()->width() / 3, view.viewport()->height() - 2);
  if (row >= 0) {
    if (row >= list.ListCount()) {
      return std::nullopt;
    }
    view.ScrollTo(row);
    place.setY(view.RowRect(row).center().y());
  } else if (view.RowAt(place) >= 0) {
    return std::nullopt;
  }
  return view.viewport()->mapTo(&root, place);
}

// --- From the user to the model

void Window::Hands::After() {
  if (!App().ended) {
    Sync();
    return;
  }
  ShowBusy(false);
  root.hide();
  QCoreApplication::exit(App().status);
}

bool Window::Hands::eventFilter(QObject* object, QEvent* event) {
  const auto found = controls_.find(object);
  Control* control = found != controls_.end() ? found->second : nullptr;
  const bool deaf = asking_ || App().ended;
  switch (event->type()) {
    case QEvent::ShortcutOverride:
      event->accept();
      return true;
    case QEvent::KeyPress:
      if (!deaf) {
        event->setAccepted(OnKey(static_cast<QKeyEvent&>(*event)));
      }
      return true;
    case QEvent::KeyRelease:
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
      if (!deaf) {
        OnContextMenu(control, static_cast<QContextMenuEvent&>(*event));
      }
      return true;
    case QEvent::FocusIn:
      // Only assistive technology gives the focus without the model.
      if (!syncing_ && !deaf && control != nullptr && control != form_.Focus()) {
        if (static_cast<QFocusEvent*>(event)->reason() == Qt::OtherFocusReason) {
          form_.UserFocus(*control);
        }
        QTimer::singleShot(0, this, [this] { After(); });
      }
      return false;
    case QEvent::Close:
      event->ignore();
      if (object == &root && !deaf) {
        form_.UserClose();
        After();
      }
      return true;
    default:
      return false;
  }
}

bool Window::Hands::OnKey(const QKeyEvent& event) {
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
  if (event.matches(QKeySequence::Cut)) {
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

void Window::Hands::OnCharacters(const QString& characters) {
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

bool Window::Hands::OnMouse(Control* control, QMouseEvent& event) {
  if (control == nullptr) {
    pressed_ = nullptr;
    return true;
  }
  switch (event.type()) {
    case QEvent::MouseMove: {
      if (pressed_ == control && event.buttons() & Qt::LeftButton) {
        if (control->Type() == Kind::TextBox) {
          OnTextMouse(static_cast<toolkit::TextBox&>(*control), event);
        } else if (auto* button = dynamic_cast<QAbstractButton*>(widgets_.at(control))) {
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

void Window::Hands::OnPress(Control& control, const QMouseEvent& event) {
  // Two quick presses on different things are no double click.
  const bool again = event.type() == QEvent::MouseButtonDblClick && pressed_ == &control;
  pressed_ = &control;
  QWidget& widget = *widgets_.at(&control);
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

void Window::Hands::OnTextMouse(toolkit::TextBox& box, const QMouseEvent& event) {
  auto& field = static_cast<TextField&>(*widgets_.at(&box));
  const int at = field.cursorPositionAt(event.position().toPoint());
  const bool focused = form_.Focus() == &box;
  if (event.type() == QEvent::MouseMove) {
    if (!focused || at == box.ActiveEnd()) {
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
    form_.UserSelect(box, anchor_, static_cast<int>(end));
  } else if (focused && event.modifiers() & Qt::ShiftModifier) {
    anchor_ = box.ActiveEnd() == box.SelStart() ? box.SelStart() + box.SelLength() : box.SelStart();
    form_.UserSelect(box, anchor_, at);
  } else {
    anchor_ = at;
    form_.UserClick(box, at);
  }
  After();
}

void Window::Hands::OnRelease(Control& control, const QMouseEvent& event) {
  if (pressed_ != &control || control.Type() == Kind::TextBox || control.Type() == Kind::ListBox) {
    return;
  }
  QWidget& widget = *widgets_.at(&control);
  if (auto* button = dynamic_cast<QAbstractButton*>(&widget)) {
    button->setDown(false);
  }
  if (widget.rect().contains(event.position().toPoint())) {
    form_.UserClick(control);
    After();
  }
}

void Window::Hands::OnContextMenu(Control* control, const QContextMenuEvent& event) {
  if (control == nullptr || control->Type() != Kind::TextBox) {
    return;
  }
  auto& box = static_cast<toolkit::TextBox&>(*control);
  auto& field = static_cast<TextField&>(*widgets_.at(control));
  if (form_.Focus() != &box) {
    form_.UserClick(box, field.cursorPositionAt(event.pos()));
    After();
    if (App().ended || form_.Focus() != &box) {
      return;
    }
  }
  auto* menu = new QMenu(&root);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  auto add = [&](const char* name, bool enabled, bool (toolkit::Form::*act)()) {
    QAction* action = menu->addAction(QString::fromUtf8(name));
    action->setEnabled(enabled);
    connect(action, &QAction::triggered, this, [this, act] {
      (form_.*act)();
      After();
    });
  };
  const bool open = !box.Locked(), selection = box.SelLength() > 0;
  add("&Annulla", open && box.CanUndo(), &toolkit::Form::UserUndo);
  menu->addSeparator();
  add("&Taglia", open && selection, &toolkit::Form::UserCut);
  add("&Copia", selection, &toolkit::Form::UserCopy);
  add("&Incolla", open && !window_.Clipboard().empty(), &toolkit::Form::UserPaste);
  menu->addSeparator();
  add("&Seleziona tutto", !box.Text().empty(), &toolkit::Form::UserSelectAll);
  menu->popup(event.reason() == QContextMenuEvent::Keyboard
                  ? field.mapToGlobal(field.rect().bottomLeft())
                  : event.globalPos());
}

// --- The window from outside

Window::Window(toolkit::Form& form) {
  QApplication::setStyle(MakeStyle());
  QApplication::setPalette(MakePalette());
  QApplication::setFont(FaceFont(toolkit::Font::Normal, 12));
  // A message box may be the last window that closes, long before the program ends.
  QGuiApplication::setQuitOnLastWindowClosed(false);
  [[maybe_unused]] static const bool taught = (TeachAccessibility(), true);
  if (const QScreen* screen = QGuiApplication::primaryScreen()) {
    toolkit::Screen.Width = screen->size().width() * kTwipsPerPixel;
    toolkit::Screen.Height = screen->size().height() * kTwipsPerPixel;
  }
  hands_ = std::make_unique<Hands>(form, *this);
}

Window::~Window() = default;

void Window::Show() { hands_->Show(); }
void Window::Sync() { hands_->Sync(); }
QWidget& Window::Widget() { return hands_->root; }
QWidget* Window::WidgetOf(const Control& control) const { return hands_->WidgetOf(control); }

QPoint Window::PixelOf(toolkit::Point place) const {
  return QPoint(place.x / kTwipsPerPixel, place.y / kTwipsPerPixel);
}

std::optional<QPoint> Window::ShowRow(const toolkit::ListBox& list, int row) {
  return hands_->ShowRow(list, row);
}

QAbstractButton* Window::AnswerButton(const QMessageBox& box, int code) {
  for (QAbstractButton* button : box.buttons()) {
    if (button->property(kAnswer).toInt() == code) {
      return button;
    }
  }
  return nullptr;
}

int Window::Ask(const toolkit::Message& message) { return hands_->Ask(message); }
void Window::Beep() { QApplication::beep(); }
void Window::Repaint() { hands_->Repaint(); }

std::u16string Window::Clipboard() { return QGuiApplication::clipboard()->text().toStdU16String(); }

void Window::SetClipboard(std::u16string_view text) {
  QGuiApplication::clipboard()->setText(
      QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size())));
}

}  // namespace desktop
