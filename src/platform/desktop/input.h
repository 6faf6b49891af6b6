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

  // While deaf, as a message box is up, the form takes nothing from the user; afterwards nothing
  // of what a key repeats that is still held from then.
  void SetDeaf(bool deaf);

  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void Listen(QWidget& widget, Control& control);
  void After();
  bool OnKey(const QKeyEvent& event);
  void OnCharacters(const QString& characters);
  bool OnMouse(Control* control, QMouseEvent& event);
  void OnPress(Control& control, const QMouseEvent& event);
  void OnTextMouse(toolkit::TextBox& box, const QMouseEvent& event);
  void OnRelease(Control& control, const QMouseEvent& event);
  void OnContextMenu(Control& control, const QContextMenuEvent& event);

  toolkit::Form& form_;
  FormView& view_;
  std::unordered_map<const QObject*, Control*> controls_;  // viewports too
  QTimer idle_;
  bool deaf_ = false;
  Repeats repeats_;
  bool held_ = false;           // no key has been pressed anew since the form was deaf
  Control* pressed_ = nullptr;  // where the left button went down
  int pressedRow_ = -1;
  int anchor_ = -1;      // where dragging in a text box began; -1: it selects nothing
  quint64 doubled_ = 0;  // time of the double click that a third one may follow
};

}  // namespace desktop
