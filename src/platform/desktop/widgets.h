// One widget for each kind of control. They show what the model says and
// leave keys and mouse to the window, which sees every event before them.
#pragma once

#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTextLayout>
#include <memory>
#include <vector>

#include "platform/desktop/look.h"
#include "platform/toolkit/control.h"

namespace desktop {

// Colours and face of a widget; asked again only when one of them changes,
// since a new palette is expensive.
class Dress {
 public:
  void PutOn(QWidget& widget, const toolkit::Control& control);

 private:
  toolkit::Color fore_ = 0, back_ = 0;
  double zoom_ = 0;  // 0: not worn yet
};

class TextField : public QLineEdit {
 public:
  explicit TextField(QWidget* parent);
  // `focused`: only the box with the focus shows its selection.
  void Apply(const toolkit::TextBox& box, bool focused);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void Change(const QString& to);

  Dress dress_;
};

// Push button whose caption breaks into lines where it is too long for one.
class Button : public QPushButton {
 public:
  explicit Button(QWidget* parent);
  void Apply(const toolkit::CommandButton& button);
  // All of the caption showed when it was painted last.
  bool Whole() const { return whole_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void initStyleOption(QStyleOptionButton* option) const override;

 private:
  Dress dress_;
  bool whole_ = true;
};

class Option : public QRadioButton {
 public:
  explicit Option(QWidget* parent);
  void Apply(const toolkit::OptionButton& option);
  bool Whole() const { return whole_; }  // all of the caption shows

 protected:
  void initStyleOption(QStyleOptionButton* option) const override;

 private:
  Dress dress_;
  bool whole_ = true;
};

// Text in lines. One that is too long for its place gets a smaller font before
// anything of it is cut off.
//
// Laying a text out costs more than painting it, so the lines are kept until
// text or place change.
class LabelBox : public QLabel {
 public:
  explicit LabelBox(QWidget* parent);
  void Apply(const toolkit::Label& label);
  // All of the text showed when it was painted last.
  bool Whole() const { return whole_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void LayOut(const QSize& room);

  Dress dress_;
  toolkit::Font face_ = toolkit::Font::Normal;
  toolkit::Border edge_ = toolkit::Border::None;
  std::unique_ptr<QTextLayout> layout_;
  std::vector<QTextLine> lines_;
  qreal lineHeight_ = 0;
  QString laidOut_;
  QSize room_;
  double zoom_ = 0;
  bool whole_ = true;
};

class FrameBox : public QFrame {
 public:
  explicit FrameBox(QWidget* parent) : QFrame(parent) {}
  void Apply(const toolkit::Frame& frame);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  Dress dress_;
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
class ShapeBox : public QWidget {
 public:
  explicit ShapeBox(QWidget* parent);
  void Apply(const toolkit::Shape& shape);

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
class StatusBox : public QWidget {
 public:
  explicit StatusBox(QWidget* parent);
  void Apply(toolkit::StatusBar& bar);

 private:
  Dress dress_;
  std::vector<StatusPanel*> panels_;
};

}  // namespace desktop
