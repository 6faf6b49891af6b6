// The form on the screen: a widget for each control, brought in line with the
// model. What the user does comes to input.h.
#pragma once

#include <QWidget>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/desktop/waiting.h"
#include "platform/desktop/widgets.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/form.h"

namespace desktop {

using toolkit::Control;

// The form's window. Where the focused control goes away, Qt is told to look for no
// other one, which a screen reader would name before the model's comes.
class Surface : public QWidget {
 protected:
  bool focusNextPrevChild(bool) override { return true; }
};

class FormView : public QObject {
 public:
  // Makes the widgets of a form that has been built. They show nothing before
  // the first Sync.
  explicit FormView(toolkit::Form& form);
  ~FormView() override;

  // Shows the window at the form's place, smaller than chosen where it would
  // not fit the screen.
  void Show();
  void Hide();
  // Makes the form one step larger (1) or smaller (-1), or as large as designed (0). A maximised
  // window, in which it is as large as fits, becomes a plain one, but not by making it larger.
  void ZoomBy(int step);
  // The size that the user has chosen, part of the designed one, and whether he has maximised the
  // window. To be set before Show.
  double ChosenZoom() const { return dragged_ > 0 ? dragged_ : chosen_; }
  bool Maximised() const;
  void Choose(double zoom, bool maximised);
  bool Shown() const { return shown_; }
  std::function<void()> beforeHiding;
  // Brings everything that has changed in the model onto the screen.
  void Sync();
  // The same for one control, changed or not.
  void Apply(Control& control);
  // Sync, and paints before it returns. Left out when the last time is less than a
  // frame of the screen ago and nothing was shown or hidden since.
  void Repaint();
  // Shows that a handler takes long: by the pointer, and, before the form is on the screen, by
  // a window of its own, with what the status bar says.
  void StillWorking();
  void EndWaiting();
  // The handler asks for the waiting pointer, or takes long.
  bool Busy() const;
  // A message box goes away now, and uncovers the form.
  void ExpectUncovering() { exposed_ = false; }
  // Afterwards: waits until the screen shows the form where the box was, at most so long.
  void Uncover(std::chrono::milliseconds longest);
  // True while widgets are being changed: what they report is our own doing.
  bool Syncing() const { return syncing_; }

  // Notes when part of the window is uncovered, and when the window's size has changed.
  bool eventFilter(QObject* object, QEvent* event) override;

  QWidget& Root() { return root_; }
  QPoint Origin() const { return origin_; }
  ControlView& ViewOf(const Control& control) const { return *views_.at(&control); }
  // Null for a control that isn't the form's.
  QWidget* WidgetOf(const Control& control) const;
  // As Window::ShowRow.
  std::optional<QPoint> ShowRow(toolkit::ListBox& list, int row);
  // The waiting cursor, on or off; Sync sets it by the model.
  void ShowBusy(bool busy);

 private:
  void Make(Control& control);
  void NameByLabel(const Control& label);
  void DescribeByTips(const Control& control);
  void ApplyFocus();
  QSize InnerSize() const;  // twips
  double ZoomToFit(const QSizeF& room) const;
  double ZoomToScreen() const;
  void SizeWindow();
  void FollowWindow();
  void LayOut(double zoom);
  void MoveForm(const QPoint& origin);
  void MoveWindow(const QPoint& wanted);
  void FollowScreen();

  toolkit::Form& form_;
  std::unordered_map<const Control*, ControlView*> views_;  // the root's widgets
  std::unordered_map<const Control*, std::vector<Control*>> labelled_;

  // Changed, but in a hidden frame: their widgets follow when the frame shows.
  // Most of the form is hidden when it starts.
  std::vector<Control*> waiting_;
  bool shown_ = false;
  bool busy_ = false;
  bool syncing_ = false;
  bool exposed_ = false;       // part of the window has been uncovered
  bool sends_exposed_ = true;  // as far as is known, the screen sends that after a box
  const Control* focus_ = nullptr;
  std::chrono::steady_clock::time_point painted_;
  std::pair<int, int> form_size_;  // that the window's size was made for
  double chosen_ = 1;              // the zoom that the user wants, if the screen has room
  double dragged_ = 0;             // the zoom of a size given to the window itself; 0: none is
  double before_ = 0;              // what it was before the window's size changed last
  bool maximise_ = false;          // when the window shows
  QSize fitted_;                   // the window's size, as set here, at `fitted_zoom_`
  double fitted_zoom_ = 1;
  QPoint origin_;  // the form's place in the window, in pixels
  QMetaObject::Connection screen_changes_;
  std::unique_ptr<WaitingWindow> waiting_window_;
  Surface root_;  // the last member: its end still raises events
};

}  // namespace desktop
