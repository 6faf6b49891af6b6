// The form on a desktop, with Qt's widgets. The window draws the model and passes keys and clicks
// to it; what these do, and where caret and focus are, the model decides.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/toolkit/application.h"
#include "platform/toolkit/form.h"

class QAbstractButton;
class QMessageBox;
class QPoint;
class QWidget;

namespace desktop {

class FormView;
class Input;
class Manual;

class Window : public toolkit::View {
 public:
  // For a form that has been built, and before it is loaded: the form is placed by the size of the
  // screen, which the toolkit gets here. Needs a QApplication, whose style, palette and font become
  // the form's. The window draws nothing until Show.
  explicit Window(toolkit::Form& form);
  ~Window() override;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // How large the user has made the form, for the next start: "130", a percentage, or "130
  // massima" for a maximised window too. To be set before Show; what is no such text is passed
  // over.
  std::u16string Size() const;
  void SetSize(std::u16string_view size);
  // Told the size when the form goes from the screen, if it isn't the one set.
  std::function<void(std::u16string_view size)> size_chosen;

  // Shows the loaded form at its place, smaller than chosen where it would not fit the screen.
  // The event loop ends with App().status when an event ends the program.
  void Show();
  // Closes the program as the window's frame does, from wherever it is: a message box in
  // front, and any that its handler still asks, gets the answer that does least.
  void Leave();
  // Brings the widgets in line with the model. Needed only where the model was
  // changed by something else than an event of the window.
  void Sync();

  // For whoever works the window from outside, a test or a script.
  QWidget& Widget();
  // Null for a control that isn't the form's.
  QWidget* WidgetOf(const toolkit::Control& control) const;
  // Where a place of the model lies in the window, in its pixels.
  QPoint PixelOf(toolkit::Point place) const;
  // Scrolls until the row is in view and returns a place on it, in pixels of the
  // window; for row -1 a place below the rows, if there is one in view.
  std::optional<QPoint> ShowRow(toolkit::ListBox& list, int row);
  // The button of a message box whose code is `code`; null if there is none.
  static QAbstractButton* AnswerButton(const QMessageBox& box, int code);
  // How long a message box that has come up takes nothing from keys and mouse. Whoever answers
  // without eyes, a script or a test, sets it to 0.
  std::chrono::milliseconds boxRest{400};
  // How long the form waits at most, after a message box, for the desktop to take it away.
  // Somebody else may have the focus by then.
  std::chrono::milliseconds longestWait{250};
  // Called when a message box is up and waits.
  std::function<void(QMessageBox&, const toolkit::Message&)> whenAsked;

  // As toolkit::Print and toolkit::ShowManual; for Application::print and Application::manual.
  std::u16string Print(const toolkit::Document& document);
  std::u16string ShowManual(std::u16string_view chapter);

  int Ask(const toolkit::Message& message) override;
  void Beep() override;
  void Hide() override;
  void Repaint() override;
  void StillWorking() override;
  std::u16string Clipboard() override;
  void SetClipboard(std::u16string_view text) override;

 private:
  std::unique_ptr<FormView> view_;
  std::unique_ptr<Input> input_;
  std::u16string size_;             // as it was set
  std::unique_ptr<Manual> manual_;  // once it has been asked for
  bool leaving_ = false;
};

}  // namespace desktop
