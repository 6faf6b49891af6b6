// What stands behind the window: its widgets, and what the user does to them.
#pragma once

#include <QMouseEvent>
#include <QWidget>
#include <chrono>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/desktop/desktop.h"
#include "platform/toolkit/control.h"

class QContextMenuEvent;
class QKeyEvent;

namespace desktop {

using toolkit::Control;

// The form's window. Where the focused control goes away, Qt is told to look for no
// other one, which a screen reader would name before the model's comes.
class Surface : public QWidget {
 protected:
  bool focusNextPrevChild(bool) override { return true; }
};

// The widgets, and the user's hands on them: sees every event before the
// widget it is for.
class Window::Hands : public QObject {
 public:
  Hands(toolkit::Form& form, Window& window);
  ~Hands() override;

  void Show();
  void Sync();
  int Ask(const toolkit::Message& message);
  void Repaint();
  QWidget* WidgetOf(const Control& control) const;
  std::optional<QPoint> ShowRow(const toolkit::ListBox& list, int row);

  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void Make(Control& control);
  void Own(QWidget& widget, Control& control);
  void Apply(Control& control);
  void TellLabels(const Control& label);
  void ApplyFocus();
  void ShowBusy(bool busy);
  QSize InnerSize() const;  // twips
  double ZoomToFit() const;
  void FollowScreen();
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

  // Changed, but in a hidden frame: their widgets follow when the frame shows.
  // Most of the form is hidden when it starts.
  std::vector<Control*> waiting_;
  bool shown_ = false;
  bool busy_ = false;
  bool syncing_ = false;  // what widgets report meanwhile is our own doing
  bool asking_ = false;   // a message box is up: the form takes nothing
  const Control* focus_ = nullptr;

  Control* pressed_ = nullptr;  // where the left button went down
  int pressedRow_ = -1;
  int anchor_ = 0;  // where dragging in a text box began
  std::chrono::steady_clock::time_point painted_;
  std::pair<int, int> formSize_;  // that the window's size was made for
  QMetaObject::Connection screenChanges_;

 public:
  Surface root;  // the last member: its end still raises events
};

// Property of a message box's button: the code that it answers.
constexpr const char* kAnswer = "answer";

}  // namespace desktop
