#include "platform/desktop/view.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScopedValueRollback>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <utility>

#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/desktop/widgets.h"
#include "platform/toolkit/application.h"

namespace desktop {

using toolkit::Kind;

namespace {

// The form's measures are those of a window with its frame, whose borders and
// title take this much. What is left is the inner size here, where the desktop
// adds a frame of its own.
constexpr int kBorders = 105, kTitle = 375;

// Pixels kept free for the desktop's frame, which isn't known before the window
// shows.
constexpr QSize kFrameRoom(8, 40);

template <class T>
const T& As(const Control& control) {
  return static_cast<const T&>(control);
}

}  // namespace

FormView::FormView(toolkit::Form& form) : form_(form) {
  root_.setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                       Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                       Qt::WindowCloseButtonHint);
  QPalette palette = root_.palette();
  palette.setColor(QPalette::Window, ToQt(form.BackColor()));
  root_.setPalette(palette);
  const QScopedValueRollback quiet(syncing_, true);
  waiting_ = form.Controls();
  for (Control* control : waiting_) {
    Make(*control);
  }
  for (Control* control : form.Controls()) {
    widgets_.at(control)->raise();
    if (control->Label() != nullptr) {
      labelled_[control->Label()].push_back(control);
    }
  }
}

FormView::~FormView() {
  syncing_ = true;
  ShowBusy(false);
}

void FormView::Make(Control& control) {
  if (widgets_.contains(&control)) {
    return;
  }
  QWidget* parent = &root_;
  if (control.Container() != nullptr) {
    Make(*control.Container());
    parent = widgets_.at(control.Container());
  }
  QWidget* made = nullptr;
  switch (control.Type()) {
    case Kind::TextBox:
      made = new TextField(parent);
      break;
    case Kind::ListBox:
      made = new ListView(As<toolkit::ListBox>(control), parent);
      break;
    case Kind::CommandButton:
      made = new Button(parent);
      break;
    case Kind::OptionButton:
      made = new Option(parent);
      break;
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
}

void FormView::Apply(Control& control) {
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
    TellTips(control);
  }
  widget.setEnabled(control.Enabled());
  if (widget.isHidden() == control.Visible()) {
    widget.setVisible(control.Visible());
    widget.update();  // Qt itself would paint it after the handler
  }
}

// Tells what stands by a label, for those who hear the form instead of seeing it.
void FormView::TellLabels(const Control& label) {
  const auto found = labelled_.find(&label);
  if (found == labelled_.end()) {
    return;
  }
  const QString name = DisplayLines(label.Caption()).simplified();
  for (const Control* control : found->second) {
    if (control->Type() != Kind::CommandButton ||
        std::ranges::none_of(Spoken(control->Caption()), [](QChar c) { return c.isLetter(); })) {
      widgets_.at(control)->setAccessibleName(name);
    }
  }
}

// Two fields may have labels of one name; their tooltips tell their buttons apart.
void FormView::TellTips(const Control& control) {
  const auto found = labelled_.find(control.Label());
  if (found == labelled_.end()) {
    return;
  }
  QStringList tips;
  for (const Control* beside : found->second) {
    tips += Display(beside->ToolTipText());
  }
  tips.removeAll(QString());
  for (const Control* beside : found->second) {
    if (beside->Type() == Kind::CommandButton) {
      widgets_.at(beside)->setAccessibleDescription(tips.join("; "));
    }
  }
}

QSize FormView::InnerSize() const {
  int right = form_.Width() - kBorders, bottom = form_.Height() - kTitle;
  for (const Control* control : form_.Controls()) {
    if (control->Container() == nullptr && control->Visible()) {
      right = std::max(right, control->Left() + control->Width());
      bottom = std::max(bottom, control->Top() + control->Height());
    }
  }
  return QSize(right, bottom);
}

// Part of the designed size at which the whole form fits the screen. A form that
// reached past its edge would hide the last buttons, and one in a scroll area
// would never show both halves together. At 150 percent on 1366 x 768 the form so
// comes out at about 120.
double FormView::ZoomToFit() const {
  const QSizeF room = root_.screen()->availableGeometry().size() - kFrameRoom;
  const QSizeF form = QSizeF(InnerSize()) / kTwipsPerPixel;
  constexpr double kLeast = 0.25;  // on whatever a desktop calls a screen
  return std::clamp(std::min(room.width() / form.width(), room.height() / form.height()), kLeast,
                    1.0);
}

// The user may move the window to another screen, or change that one's size.
void FormView::FollowScreen() {
  disconnect(screenChanges_);
  screenChanges_ = connect(root_.screen(), &QScreen::availableGeometryChanged, this, [this] {
    formSize_ = {};
    Sync();
  });
}

void FormView::Show() {
  Sync();
  const QScreen* screen = root_.screen();
  const QRect room = screen->availableGeometry();
  // Smaller than designed, it keeps the middle of its place.
  auto place = [](int twips, int length) {
    return (2 * twips + length) / (2 * kTwipsPerPixel) - Pixels(length) / 2;
  };
  auto within = [](int at, int from, int length, int needed) {
    return std::max(from, std::min(at, from + length - needed));
  };
  const QPoint wanted = screen->geometry().topLeft() + QPoint(place(form_.Left(), form_.Width()),
                                                              place(form_.Top(), form_.Height()));
  const QSize needed = root_.size() + kFrameRoom;
  root_.move(within(wanted.x(), room.x(), room.width(), needed.width()),
             within(wanted.y(), room.y(), room.height(), needed.height()));
  {
    const QScopedValueRollback quiet(syncing_, true);
    root_.show();
  }
  shown_ = true;
  Sync();
  root_.activateWindow();
  FollowScreen();
  root_.windowHandle()->installEventFilter(this);
  connect(root_.windowHandle(), &QWindow::screenChanged, this, [this] {
    FollowScreen();
    formSize_ = {};
    Sync();
  });
}

void FormView::Hide() {
  ShowBusy(false);
  root_.hide();
}

void FormView::Sync() {
  const QScopedValueRollback quiet(syncing_, true);
  const bool resized = formSize_ != std::pair(form_.Width(), form_.Height());
  if (resized) {
    if (const double zoom = ZoomToFit(); zoom != Zoom()) {
      SetZoom(zoom);
      UseFonts();
      waiting_ = form_.Controls();
    }
  }
  for (Control* control : form_.TakeTouched()) {
    if (std::ranges::find(waiting_, control) == waiting_.end()) {
      waiting_.push_back(control);
    }
  }
  std::erase_if(waiting_, [this](Control* control) {
    const bool seen = control->Container() == nullptr || control->Container()->Showing();
    if (seen) {
      Apply(*control);
    }
    return seen;
  });
  if (const QString title = Display(form_.Caption()); root_.windowTitle() != title) {
    root_.setWindowTitle(title);
  }
  if (resized) {
    formSize_ = {form_.Width(), form_.Height()};
    const QSize inner = InnerSize();
    root_.setFixedSize(Pixels(inner.width()), Pixels(inner.height()));
  }
  ApplyFocus();
  ShowBusy(toolkit::Screen.MousePointer == 11);
}

void FormView::ApplyFocus() {
  const Control* now = form_.Focus();
  if (now != focus_) {
    for (const Control* control : {std::exchange(focus_, now), now}) {
      if (control != nullptr && control->Type() == Kind::TextBox) {
        static_cast<TextField&>(*widgets_.at(control))
            .Apply(As<toolkit::TextBox>(*control), control == now);
      }
    }
  }
  QWidget* wanted = now != nullptr ? widgets_.at(now) : &root_;
  if (shown_ && root_.focusWidget() != wanted) {
    wanted->setFocus(Qt::OtherFocusReason);
  }
}

void FormView::ShowBusy(bool busy) {
  if (std::exchange(busy_, busy) != busy) {
    busy ? QGuiApplication::setOverrideCursor(Qt::WaitCursor)
         : QGuiApplication::restoreOverrideCursor();
  }
}

bool FormView::eventFilter(QObject* /*object*/, QEvent* event) {
  exposed_ |= event->type() == QEvent::Expose;
  return false;
}

// Where a window manager frames the box, the box goes off the screen some time after
// it was closed, and the manager gives the focus back. Then its place comes to light
// and has to be painted anew; a screen that keeps all windows' pictures by itself tells
// nothing of that, which is found out once. Keys and clicks wait.
void FormView::Uncover() {
  constexpr int kLongest = 250;  // milliseconds: somebody else may have the focus
  // Where no window manager chooses the next window, none would have it.
  if (QApplication::activeWindow() == nullptr) {
    root_.activateWindow();
  }
  exposed_ = false;
  const auto uncovered = [this] { return root_.isActiveWindow() && (exposed_ || !tellsExposed_); };
  QElapsedTimer waited;
  for (waited.start(); !uncovered() && waited.elapsed() < kLongest;) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
  }
  tellsExposed_ &= exposed_;
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  painted_ = {};
  Repaint();
}

// Called for each row of a long list: what comes sooner than the eye can follow
// costs no more than a look at the clock. What is shown or hidden is never too soon.
void FormView::Repaint() {
  constexpr auto kFrame = std::chrono::microseconds(16667);
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || (now - painted_ < kFrame && !form_.AppearanceChanged())) {
    return;
  }
  painted_ = now;
  Sync();
  // Paints what is dirty, at once, and lets no other event in.
  QEvent paint(QEvent::UpdateRequest);
  QCoreApplication::sendEvent(&root_, &paint);
}

QWidget* FormView::WidgetOf(const Control& control) const {
  const auto found = widgets_.find(&control);
  return found != widgets_.end() ? found->second : nullptr;
}

std::optional<QPoint> FormView::ShowRow(toolkit::ListBox& list, int row) {
  auto& view = static_cast<ListView&>(*widgets_.at(&list));
  Sync();
  QPoint place(view.viewport()->width() / 3, view.viewport()->height() - 2);
  if (row >= 0) {
    if (row >= list.ListCount()) {
      return std::nullopt;
    }
    form_.UserScroll(list, list.TopToShow(row));
    Sync();
    place.setY(view.RowRect(row).center().y());
  } else if (view.RowAt(place) >= 0 || view.RowsInView() < list.ListCount()) {
    return std::nullopt;
  }
  return view.viewport()->mapTo(&root_, place);
}

}  // namespace desktop
