// From the user to the model: keys, mouse, input methods and assistive
// technology. Every event of the form's widgets is seen here before the widget
// gets it.
#pragma once

#include <QObject>
#include <QTimer>
#include <unordered_map>

#include "platform/desktop/messagebox.h"
#include "platform/desktop/view.h"

class QContextMenuEvent;
class QKeyEvent;
class QMouseEvent;

namespace desktop {

class Input : public QObject {
 public:
  // Listens to the widgets of `view`, which must outlive it.
  Input(toolkit::Form& form, FormView& view);

  // While blocked, as a message box is up, the form takes nothing from the user; afterwards
  // nothing of what a key repeats that is still held from then.
  void SetBlocked(bool blocked);

  // For the widgets of the controls (widgets.h).
  toolkit::Form& Form() { return form_; }
  FormView& View() { return view_; }
  // To be called after what the user has done: brings the widgets in line with the model,
  // and ends the event loop where the program has ended.
  void After();
  // The events of `object` count as those of the control's widget.
  void Watch(QObject& object, ControlView& view);

  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void OnKeyPress(QKeyEvent& event);
  void OnFocus(ControlView& view, const QFocusEvent& event);
  // Each returns whether the form has a use for the key: one of editing, or any other.
  bool OnEdit(const QKeyEvent& event);
  bool OnKey(const QKeyEvent& event);
  void OnCharacters(const QString& characters);
  bool OnMouse(ControlView* view, QMouseEvent& event);
  void OnContextMenu(ControlView& view, const QContextMenuEvent& event);

  toolkit::Form& form_;
  FormView& view_;
  std::unordered_map<const QObject*, ControlView*> views_;  // by viewports too
  QTimer idle_;
  bool blocked_ = false;
  Repeats repeats_;
  bool held_ = false;               // no key has been pressed anew since the form was blocked
  ControlView* pressed_ = nullptr;  // where the left button went down
};

}  // namespace desktop
