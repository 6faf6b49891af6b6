#include "platform/desktop/view.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QScopedValueRollback>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/desktop/widgets.h"
#include "platform/toolkit/application.h"

namespace desktop {

namespace {

// The form's measures are those of a window with its frame, whose borders and
// title take this much. What is left is the inner size here, where the desktop
// adds a frame of its own.
constexpr int kBorders = 105, kTitle = 375;

// Pixels kept free for the desktop's frame, which isn't known before the window
// shows.
constexpr QSize kFrameRoom(8, 40);

// A widget for a control of the one class; null for any other.
template <class Model, class View>
ControlView* MakeFor(Control& control, QWidget* parent) {
  auto* model = dynamic_cast<Model*>(&control);
  return model != nullptr ? new View(*model, parent) : nullptr;
}

constexpr ControlView* (*kMakers[])(Control&, QWidget*) = {
    MakeFor<toolkit::TextBox, TextField>,    MakeFor<toolkit::ListBox, ListView>,
    MakeFor<toolkit::CommandButton, Button>, MakeFor<toolkit::OptionButton, Option>,
    MakeFor<toolkit::Label, LabelBox>,       MakeFor<toolkit::Frame, FrameBox>,
    MakeFor<toolkit::Shape, ShapeBox>,       MakeFor<toolkit::StatusBar, StatusBox>,
};

}  // namespace

FormView::FormView(toolkit::Form& form) : form_(form) {
  root_.setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                       Qt::WindowSystemMenuHint | Qt::WindowMinMaxButtonsHint |
                       Qt::WindowCloseButtonHint);
  root_.installEventFilter(this);
  QPalette palette = root_.palette();
  palette.setColor(QPalette::Window, ToQt(form.BackColor()));
  root_.setPalette(palette);
  const QScopedValueRollback quiet(syncing_, true);
  waiting_ = form.Controls();
  for (Control* control : waiting_) {
    Make(*control);
  }
  for (Control* control : form.Controls()) {
    ViewOf(*control).Widget().raise();
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
  if (views_.contains(&control)) {
    return;
  }
  QWidget* parent = &root_;
  if (control.Container() != nullptr) {
    Make(*control.Container());
    parent = &ViewOf(*control.Container()).Widget();
  }
  ControlView* made = nullptr;
  for (const auto maker : kMakers) {
    if (made = maker(control, parent); made != nullptr) {
      break;
    }
  }
  made->Widget().setObjectName(QString::fromStdU16String(control.FullName()));
  views_[&control] = made;
}

void FormView::Apply(Control& control) {
  const QScopedValueRollback quiet(syncing_, true);
  ControlView& view = ViewOf(control);
  QWidget& widget = view.Widget();
  QRect place = PixelRect(control);
  if (control.Container() == nullptr) {
    place.translate(origin_);
  }
  if (widget.geometry() != place) {
    widget.setGeometry(place);
  }
  view.Apply();
  NameByLabel(control);
  if (const QString tip = PlainToolTip(control.ToolTipText()); widget.toolTip() != tip) {
    widget.setToolTip(tip);
    DescribeByTips(control);
  }
  widget.setEnabled(control.Enabled());
  if (widget.isHidden() == control.Visible()) {
    widget.setVisible(control.Visible());
    widget.update();  // Qt itself would paint it after the handler
  }
}

// Names what stands by a label, for those who hear the form instead of seeing it.
void FormView::NameByLabel(const Control& label) {
  const auto found = labelled_.find(&label);
  if (found == labelled_.end()) {
    return;
  }
  const QString name = DisplayLines(label.Caption()).simplified();
  for (const Control* control : found->second) {
    if (ControlView& view = ViewOf(*control); !view.NamesItself()) {
      view.Widget().setAccessibleName(name);
    }
  }
}

// Two fields may have labels of one name; their tooltips tell their buttons apart.
void FormView::DescribeByTips(const Control& control) {
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
    if (dynamic_cast<const toolkit::CommandButton*>(beside) != nullptr) {
      ViewOf(*beside).Widget().setAccessibleDescription(tips.join("; "));
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

// Part of the designed size at which the whole form fits into so many pixels.
double FormView::ZoomToFit(const QSizeF& room) const {
  const QSizeF form = QSizeF(InnerSize()) / kTwipsPerPixel;
  constexpr double kLeast = 0.25;  // on whatever a desktop calls a screen
  return std::max(kLeast, std::min(room.width() / form.width(), room.height() / form.height()));
}

// A form that reached past the screen's edge would hide the last buttons, and one in a scroll
// area would never show both halves together. At 150 percent on 1366 x 768 the form so
// comes out at about 120.
double FormView::ZoomToScreen() const {
  return ZoomToFit(root_.screen()->availableGeometry().size() - kFrameRoom);
}

bool FormView::Maximised() const {
  return root_.windowState() & (Qt::WindowMaximized | Qt::WindowFullScreen);
}

void FormView::Choose(double zoom, bool maximised) {
  chosen_ = zoom;
  maximise_ = maximised;
}

void FormView::ZoomBy(int step) {
  constexpr double kSteps = 10, kLeast = 0.5, kMost = 4;  // steps of a tenth
  if (Maximised() && step > 0) {
    return;
  }
  constexpr double kSame = 1e-6;
  double zoom = 1;
  if (step > 0) {
    zoom = std::min({std::floor(Zoom() * kSteps + 1 + kSame) / kSteps, kMost, ZoomToScreen()});
  } else if (step < 0) {
    zoom = std::max(std::ceil(Zoom() * kSteps - 1 - kSame) / kSteps, std::min(kLeast, Zoom()));
  }
  if (Maximised()) {
    root_.showNormal();
  }
  chosen_ = zoom;
  dragged_ = 0;
  const QPoint middle = root_.frameGeometry().center();
  SizeWindow();
  MoveWindow(middle - QRect(QPoint(), root_.frameSize()).center());
  Sync();
}

// Makes the window as large as the form at the chosen size, as far as the screen has room.
void FormView::SizeWindow() {
  form_size_ = {form_.Width(), form_.Height()};
  const QSize inner = InnerSize();
  chosen_ = ChosenZoom();
  dragged_ = 0;
  fitted_zoom_ = std::min(chosen_, ZoomToScreen());
  LayOut(fitted_zoom_);
  fitted_ = {Pixels(inner.width()), Pixels(inner.height())};
  MoveForm({});
  root_.setMinimumSize(inner / (4 * kTwipsPerPixel));
  root_.resize(fitted_);
}

// To a place of its frame, or as near to it as the whole window is on the screen.
void FormView::MoveWindow(const QPoint& wanted) {
  const QRect room = root_.screen()->availableGeometry();
  const QSize needed = (root_.size() + kFrameRoom).expandedTo(root_.frameSize());
  const auto within = [](int at, int from, int length, int needed_length) {
    return std::max(from, std::min(at, from + length - needed_length));
  };
  root_.move(within(wanted.x(), room.x(), room.width(), needed.width()),
             within(wanted.y(), room.y(), room.height(), needed.height()));
}

// The user, or the desktop, has given the window another size: the form fills it as far as its
// shape allows, and stands in its middle.
void FormView::FollowWindow() {
  if (!shown_) {
    return;
  }
  const bool own = root_.size() == fitted_;
  double dragged = 0;
  if (own) {
    LayOut(fitted_zoom_);
  } else {
    LayOut(ZoomToFit(root_.size()));
    dragged = Zoom();
  }
  if (!Maximised()) {
    before_ = std::exchange(dragged_, dragged);
  }
  const QSize inner = InnerSize();
  const QSize left = root_.size() - QSize(Pixels(inner.width()), Pixels(inner.height()));
  MoveForm({std::max(0, left.width() / 2), std::max(0, left.height() / 2)});
  Sync();
}

void FormView::MoveForm(const QPoint& origin) {
  if (std::exchange(origin_, origin) != origin) {
    waiting_ = form_.Controls();
  }
}

// Has all controls laid out at another size, by the next Sync.
void FormView::LayOut(double zoom) {
  if (zoom != Zoom()) {
    SetZoom(zoom);
    UseFonts();
    waiting_ = form_.Controls();
  }
}

// The user may move the window to another screen, or change that one's size.
void FormView::FollowScreen() {
  disconnect(screen_changes_);
  screen_changes_ = connect(root_.screen(), &QScreen::availableGeometryChanged, this, [this] {
    form_size_ = {};
    Sync();
  });
}

void FormView::Show() {
  Sync();
  const QScreen* screen = root_.screen();
  // Smaller or larger than designed, it keeps the middle of its place.
  auto place = [](int twips, int length) {
    return (2 * twips + length) / (2 * kTwipsPerPixel) - Pixels(length) / 2;
  };
  const QPoint wanted = screen->geometry().topLeft() + QPoint(place(form_.Left(), form_.Width()),
                                                              place(form_.Top(), form_.Height()));
  MoveWindow(wanted);
  {
    const QScopedValueRollback quiet(syncing_, true);
    if (maximise_) {
      root_.showMaximized();
    } else {
      root_.show();
    }
  }
  EndWaiting();
  shown_ = true;
  FollowWindow();
  root_.activateWindow();
  FollowScreen();
  root_.windowHandle()->installEventFilter(this);
  connect(root_.windowHandle(), &QWindow::screenChanged, this, [this] {
    FollowScreen();
    form_size_ = {};
    Sync();
  });
}

void FormView::Hide() {
  EndWaiting();
  if (beforeHiding && root_.isVisible()) {
    beforeHiding();
  }
  ShowBusy(false);
  root_.hide();
}

void FormView::Sync() {
  const QScopedValueRollback quiet(syncing_, true);
  if (form_size_ != std::pair(form_.Width(), form_.Height()) && !Maximised()) {
    SizeWindow();
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
  ApplyFocus();
  ShowBusy(Busy());
}

void FormView::ApplyFocus() {
  const Control* now = form_.Focus();
  if (now != focus_) {
    for (const Control* control : {std::exchange(focus_, now), now}) {
      if (control != nullptr) {
        ViewOf(*control).ApplyFocus();
      }
    }
  }
  QWidget* wanted = now != nullptr ? &ViewOf(*now).Widget() : &root_;
  if (shown_ && root_.focusWidget() != wanted) {
    wanted->setFocus(Qt::OtherFocusReason);
  }
}

void FormView::ShowBusy(bool busy) {
  if (std::exchange(busy_, busy) == busy) {
    return;
  }
  if (busy) {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
  } else {
    QGuiApplication::restoreOverrideCursor();
  }
}

bool FormView::eventFilter(QObject* object, QEvent* event) {
  exposed_ |= event->type() == QEvent::Expose;
  if (object == &root_ && event->type() == QEvent::Resize) {
    FollowWindow();
  }
  // Some desktops make the window large before they say that it is maximised.
  if (object == &root_ && event->type() == QEvent::WindowStateChange && Maximised()) {
    dragged_ = before_;
  }
  return false;
}

// Where a window manager frames the box, the box goes off the screen some time after
// it was closed, and the manager gives the focus back. Then its place is uncovered and has
// to be painted anew; a screen that keeps all windows' pictures on its own sends no event
// for that, which is found out once. Keys and clicks wait.
void FormView::Uncover(std::chrono::milliseconds longest) {
  // Where no window manager chooses the next window, none would have it.
  if (QApplication::activeWindow() == nullptr) {
    root_.activateWindow();
  }
  const auto uncovered = [this] { return root_.isActiveWindow() && (exposed_ || !sends_exposed_); };
  QElapsedTimer waited;
  for (waited.start(); !uncovered() && waited.elapsed() < longest.count();) {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 10);
  }
  sends_exposed_ &= exposed_;
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  painted_ = {};
  Repaint();
}

// Called for each row of a long list: what comes sooner than the eye can follow
// costs no more than a look at the clock. What is shown or hidden is never too soon.
void FormView::Repaint() {
  constexpr auto kFrame = std::chrono::microseconds(16667);
  const auto now = std::chrono::steady_clock::now();
  if (now - painted_ < kFrame && (!shown_ || !form_.AppearanceChanged())) {
    return;
  }
  painted_ = now;
  if (!shown_) {
    StillWorking();
    return;
  }
  Sync();
  // Paints what is dirty, at once, and lets no other event in.
  QEvent paint(QEvent::UpdateRequest);
  QCoreApplication::sendEvent(&root_, &paint);
}

namespace {

// How long the handler that runs has been at work.
std::chrono::steady_clock::duration Worked() {
  const auto& since = toolkit::App().working;
  if (!since) {
    return {};
  }
  return std::chrono::steady_clock::now() - *since;
}

}  // namespace

bool FormView::Busy() const {
  constexpr std::chrono::milliseconds kLong{300};
  return toolkit::Screen.MousePointer == 11 || Worked() >= kLong;
}

void FormView::StillWorking() {
  // With what comes before it, from the start of the process, well within half a second.
  constexpr std::chrono::milliseconds kPatience{100};
  if (shown_) {
    ShowBusy(Busy());
    return;
  }
  if (form_.Loaded() || Worked() < kPatience) {
    return;
  }
  if (waiting_window_ == nullptr) {
    waiting_window_ = std::make_unique<WaitingWindow>(Display(form_.Caption()));
  }
  for (Control* control : form_.Controls()) {
    if (auto* bar = dynamic_cast<toolkit::StatusBar*>(control)) {
      waiting_window_->Tell(Display(bar->Panels(2).Text()));
    }
  }
}

void FormView::EndWaiting() { waiting_window_.reset(); }

QWidget* FormView::WidgetOf(const Control& control) const {
  const auto found = views_.find(&control);
  if (found == views_.end()) {
    return nullptr;
  }
  return &found->second->Widget();
}

std::optional<QPoint> FormView::ShowRow(toolkit::ListBox& list, int row) {
  auto& view = static_cast<ListView&>(ViewOf(list));
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
