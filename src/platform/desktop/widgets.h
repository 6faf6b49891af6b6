// One widget for each kind of control. They show what the model says. Keys and mouse come
// from the input, which sees every event before them (input.h).
#pragma once

#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTextLayout>
#include <QTimer>
#include <memory>
#include <vector>

#include "platform/desktop/look.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/form.h"

class QContextMenuEvent;
class QMouseEvent;

namespace desktop {

class Input;

// The widget of a control, as the form's view and its input see it.
class ControlView {
 public:
  // Where a right click is: the row of a list, the place of the caret in a text box.
  struct Spot {
    int row = -1;
    int caret = 0;
  };

  explicit ControlView(toolkit::Control& control) : control_(control) {}
  virtual ~ControlView() = default;
  ControlView(const ControlView&) = delete;
  ControlView& operator=(const ControlView&) = delete;

  toolkit::Control& Shown() const { return control_; }
  virtual QWidget& Widget() = 0;

  // Shows what the control holds.
  virtual void Apply() = 0;
  // The control has got or lost the focus.
  virtual void ApplyFocus() {}
  // What it shows says what it is, so that it needs no label to be named by.
  virtual bool NamesItself() const { return false; }

  // Assistive technology works widgets without keys or mouse: what it does goes to the
  // model as if the user had done it by hand.
  virtual void Listen(Input& /*input*/) {}
  // The left button of the mouse; drags and releases come where it was pressed. `again`: the
  // press before was here too.
  virtual void OnPress(Input& /*input*/, const QMouseEvent& /*event*/, bool /*again*/) {}
  virtual void OnDrag(Input& /*input*/, const QMouseEvent& /*event*/) {}
  virtual void OnRelease(Input& input, const QMouseEvent& event);
  virtual Spot SpotOf(const QContextMenuEvent& /*event*/) { return {}; }
  // Where a menu that a key opens stands by, in the widget: a list's row.
  virtual QRect PlaceOf(int /*row*/) { return Widget().rect(); }

 protected:
  // Colours and face; set only when one of them has changed, since a new palette is
  // expensive. `box`: the colours are those inside a box, which has its frame's around it.
  void ApplyColours(bool box = false);

 private:
  toolkit::Control& control_;
  toolkit::Color fore_ = 0, back_ = 0;
  double zoom_ = 0;  // 0: not set yet
};

template <class Base, class Model>
class WidgetFor : public Base, public ControlView {
 public:
  WidgetFor(Model& model, QWidget* parent) : Base(parent), ControlView(model), model_(model) {}
  QWidget& Widget() override { return *this; }

 protected:
  Model& model_;
};

class TextField : public WidgetFor<QLineEdit, toolkit::TextBox> {
 public:
  TextField(toolkit::TextBox& box, QWidget* parent);
  // Only the box with the focus shows its selection.
  void Apply() override;
  void ApplyFocus() override { Apply(); }
  void Listen(Input& input) override;
  void OnPress(Input& input, const QMouseEvent& event, bool again) override;
  void OnDrag(Input& input, const QMouseEvent& event) override;
  void OnRelease(Input& /*input*/, const QMouseEvent& /*event*/) override {}
  Spot SpotOf(const QContextMenuEvent& event) override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void Change(const QString& to);
  bool SelectWord(toolkit::Form& form, int at);

  int refusals_ = 0;
  QTimer flash_;         // runs while the frame is lit
  int anchor_ = -1;      // where dragging began; -1: it selects nothing
  quint64 doubled_ = 0;  // time of the double click that a third one may follow
};

// What both kinds of button do under the mouse and with the focus.
template <class Base, class Model>
class ButtonFor : public WidgetFor<Base, Model> {
 public:
  ButtonFor(Model& model, QWidget* parent);
  // All of the caption showed when it was painted last.
  bool Whole() const { return whole_; }
  void OnPress(Input& input, const QMouseEvent& event, bool again) override;
  void OnDrag(Input& input, const QMouseEvent& event) override;
  void OnRelease(Input& input, const QMouseEvent& event) override;

 protected:
  void initStyleOption(QStyleOptionButton* option) const override;
  void SetCaption(const QString& caption);

  bool whole_ = true;
};

// Push button whose caption breaks into lines where it is too long for one.
class Button : public ButtonFor<QPushButton, toolkit::CommandButton> {
 public:
  Button(toolkit::CommandButton& button, QWidget* parent);
  void Apply() override;
  bool NamesItself() const override;
  void Listen(Input& input) override;

 protected:
  void paintEvent(QPaintEvent* event) override;
};

class Option : public ButtonFor<QRadioButton, toolkit::OptionButton> {
 public:
  Option(toolkit::OptionButton& option, QWidget* parent);
  void Apply() override;
  void Listen(Input& input) override;
};

// Text in lines. One that is too long for its place gets a smaller font before
// anything of it is cut off.
//
// Laying a text out costs more than painting it, so the lines are kept until text or place change.
class LabelBox : public WidgetFor<QLabel, toolkit::Label> {
 public:
  LabelBox(toolkit::Label& label, QWidget* parent);
  void Apply() override;
  // All of the text showed when it was painted last.
  bool Whole() const { return whole_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void LayOut(const QSize& room);

  toolkit::Font face_ = toolkit::Font::Normal;
  toolkit::Border edge_ = toolkit::Border::None;
  bool filled_ = false;
  std::unique_ptr<QTextLayout> layout_;
  std::vector<QTextLine> lines_;
  qreal line_height_ = 0;
  qreal rise_ = 0;  // of the middle of capitals over that of the line
  QString laid_out_;
  QSize room_;
  double zoom_ = 0;
  bool whole_ = true;
};

class FrameBox : public WidgetFor<QFrame, toolkit::Frame> {
 public:
  using WidgetFor::WidgetFor;
  void Apply() override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString caption_;
  toolkit::Border edge_ = toolkit::Border::None;
  QWidget* shadow_ = nullptr;
};

// The shadow of a raised frame, which follows it.
class ShadowBox : public QWidget {
 public:
  explicit ShadowBox(QWidget* frame);
  bool eventFilter(QObject* frame, QEvent* event) override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void Follow();

  QWidget* frame_;
};

// A border that the mouse doesn't meet.
class ShapeBox : public WidgetFor<QWidget, toolkit::Shape> {
 public:
  ShapeBox(toolkit::Shape& shape, QWidget* parent);
  void Apply() override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor back_;
};

class StatusPanel : public QLabel {
 public:
  explicit StatusPanel(QWidget* parent);
  int Needed() const;  // width for all of the text

 protected:
  void paintEvent(QPaintEvent* event) override;
};

// A label for each panel, so that a screen reader is told which of them changes.
class StatusBox : public WidgetFor<QWidget, toolkit::StatusBar> {
 public:
  StatusBox(toolkit::StatusBar& bar, QWidget* parent);
  void Apply() override;

 private:
  std::vector<StatusPanel*> panels_;
};

}  // namespace desktop
