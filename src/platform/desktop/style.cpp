// The form's own style: flat, the same on every desktop, and of one kind for the form, its
// message boxes and the system's dialogs.
#include <QAbstractButton>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QRadioButton>
#include <QStyleFactory>
#include <QStyleOption>
#include <algorithm>

#include "platform/desktop/look.h"

namespace desktop {

namespace {

// A sign on a disc, for message boxes.
QIcon Disc(const QColor& color, const QString& sign) {
  QIcon icon;
  for (const int size : {32, 48, 64, 96, 128}) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size).adjusted(1, 1, -1, -1));
    painter.setPen(Qt::white);
    QFont face = FaceFont(toolkit::Font::Bold);
    face.setPixelSize(size * 11 / 16);
    painter.setFont(face);
    painter.drawText(QRect(0, 0, size, size), Qt::AlignCenter, sign);
    icon.addPixmap(pixmap);
  }
  return icon;
}

bool Is(const QStyleOption& option, QStyle::StateFlag state) {
  return option.state.testFlag(state);
}

// The button that Enter presses, or with which the work of a screen ends.
bool IsMain(const QStyleOptionButton& button) {
  return button.features & QStyleOptionButton::DefaultButton && Is(button, QStyle::State_Enabled);
}

void DrawMainButton(const QStyleOptionButton& button, QPainter& painter) {
  QColor fill = Highlight();
  if (Is(button, QStyle::State_Sunken)) {
    fill = fill.darker(125);
  } else if (Is(button, QStyle::State_MouseOver)) {
    fill = fill.lighter(115);
  }
  FillBox(painter, button.rect, fill);
  if (Is(button, QStyle::State_HasFocus)) {
    DrawRing(painter, button.rect.adjusted(3, 3, -3, -3), Qt::white, 2);
  }
}

void DrawButton(const QStyleOptionButton& button, QPainter& painter) {
  if (IsMain(button)) {
    DrawMainButton(button, painter);
    return;
  }
  const QColor ground = button.palette.color(QPalette::Window);
  QColor line = Line(ground);
  if (!Is(button, QStyle::State_Enabled)) {
    DrawRing(painter, button.rect, Mix(ground, line, 0.4));
    return;
  }
  QColor fill = Mix(ground, Qt::white, 0.75);
  if (Is(button, QStyle::State_Sunken)) {
    fill = Mix(ground, Highlight(), 0.2);
  } else if (Is(button, QStyle::State_MouseOver)) {
    fill = Qt::white;
    line = Highlight();
  }
  FillBox(painter, button.rect, fill);
  DrawRing(painter, button.rect, line);
  if (Is(button, QStyle::State_HasFocus)) {
    DrawRing(painter, button.rect, Highlight(), 2);
  }
}

// What is filled from a table only is as quiet as what is disabled, unless it has a colour of
// its own.
void DrawField(const QStyleOption& field, QPainter& painter) {
  const QColor ground = field.palette.color(QPalette::Window);
  QColor fill = field.palette.color(QPalette::Base), line = Line(ground);
  if (Is(field, QStyle::State_ReadOnly) && fill == Qt::white) {
    fill = Quiet(fill, ground);
    line = Mix(ground, line, 0.5);
  } else if (!Is(field, QStyle::State_Enabled)) {
    line = Mix(ground, line, 0.5);
  }
  FillBox(painter, field.rect, fill);
  if (Is(field, QStyle::State_HasFocus)) {
    DrawRing(painter, field.rect, Highlight(), 2);
  } else {
    DrawRing(painter, field.rect, line);
  }
}

void DrawRadio(const QStyleOption& radio, QPainter& painter) {
  const QColor ground = radio.palette.color(QPalette::Window);
  const bool enabled = Is(radio, QStyle::State_Enabled), on = Is(radio, QStyle::State_On);
  QColor line = Line(ground);
  if (!enabled) {
    line = Mix(ground, line, 0.5);
  } else if (on || Is(radio, QStyle::State_MouseOver)) {
    line = Highlight();
  }
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF circle = QRectF(radio.rect).adjusted(1, 1, -1, -1);
  painter.setPen(QPen(line, 1.4));
  painter.setBrush(enabled ? QColor(Qt::white) : ground);
  painter.drawEllipse(circle);
  if (on) {
    const double inset = circle.width() * 0.27;
    painter.setPen(Qt::NoPen);
    painter.setBrush(line);
    painter.drawEllipse(circle.adjusted(inset, inset, -inset, -inset));
  }
  painter.restore();
}

// Fusion with what must not follow the desktop's settings, and flat.
class Style : public QProxyStyle {
 public:
  Style() : QProxyStyle(QStyleFactory::create("Fusion")) {}

  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    switch (metric) {
      case PM_ScrollBarExtent:
        return std::max(9, WholePixels(14 * kTwipsPerPixel));
      case PM_ExclusiveIndicatorWidth:
      case PM_ExclusiveIndicatorHeight:
        return WholePixels(13 * kTwipsPerPixel);
      case PM_RadioButtonLabelSpacing:
        return WholePixels(6 * kTwipsPerPixel);
      default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
  }

  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override {
    const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
    if (element == PE_PanelLineEdit && frame != nullptr && frame->lineWidth > 0) {
      DrawField(*option, *painter);
    } else if (element == PE_IndicatorRadioButton) {
      DrawRadio(*option, *painter);
    } else if (element != PE_FrameFocusRect ||
               qobject_cast<const QAbstractButton*>(widget) == nullptr) {
      QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
  }

  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
    if (element == CE_PushButtonBevel && button != nullptr &&
        !(button->features & QStyleOptionButton::Flat)) {
      DrawButton(*button, *painter);
      return;
    }
    if (element == CE_PushButtonLabel && button != nullptr && IsMain(*button)) {
      QStyleOptionButton label = *button;
      label.palette.setColor(QPalette::ButtonText, Qt::white);
      QProxyStyle::drawControl(element, &label, painter, widget);
      return;
    }
    QProxyStyle::drawControl(element, option, painter, widget);
    if (element == CE_RadioButton && Is(*option, State_HasFocus)) {
      DrawRing(*painter, option->rect, Highlight());
    }
  }

  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                          QPainter* painter, const QWidget* widget) const override {
    if (const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
        control == CC_ScrollBar && bar != nullptr) {
      DrawScrollBar(*bar, *painter, widget);
    } else {
      QProxyStyle::drawComplexControl(control, option, painter, widget);
    }
  }

  QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                     const QWidget* widget) const override {
    switch (which) {
      case SP_MessageBoxInformation:
        return Disc(Highlight(), "i");
      case SP_MessageBoxQuestion:
        return Disc(Highlight(), "?");
      case SP_MessageBoxWarning:
        return Disc(QColor(176, 96, 0), "!");
      case SP_MessageBoxCritical:
        return Disc(Alarm(), "!");
      default:
        return QProxyStyle::standardIcon(which, option, widget);
    }
  }

  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override {
    switch (hint) {
      case SH_UnderlineShortcut:
        return 1;
      case SH_DialogButtonLayout:  // yes, no, cancel
      case SH_DialogButtonBox_ButtonsHaveIcons:
        return 0;
      case SH_MessageBox_TextInteractionFlags:
        return Qt::NoTextInteraction;
      default:
        return QProxyStyle::styleHint(hint, option, widget, result);
    }
  }

 private:
  void DrawScrollBar(const QStyleOptionSlider& bar, QPainter& painter,
                     const QWidget* widget) const {
    const QColor ground = bar.palette.color(QPalette::Window);
    painter.fillRect(bar.rect, ground);
    const bool upright = bar.orientation == Qt::Vertical;
    QStyleOption arrow = bar;
    std::pair ends(PE_IndicatorArrowLeft, PE_IndicatorArrowRight);
    if (upright) {
      ends = {PE_IndicatorArrowUp, PE_IndicatorArrowDown};
    }
    for (const auto& [part, sign] : {std::pair(SC_ScrollBarSubLine, ends.first),
                                     std::pair(SC_ScrollBarAddLine, ends.second)}) {
      arrow.rect = proxy()->subControlRect(CC_ScrollBar, &bar, part, widget).adjusted(3, 3, -3, -3);
      QProxyStyle::drawPrimitive(sign, &arrow, &painter, widget);
    }
    if (!Is(bar, State_Enabled)) {
      return;
    }
    const bool held = Is(bar, State_Sunken) && bar.activeSubControls & SC_ScrollBarSlider;
    double depth = 0.45;
    if (held) {
      depth = 0.75;
    } else if (Is(bar, State_MouseOver)) {
      depth = 0.6;
    }
    FillBox(painter,
            proxy()
                ->subControlRect(CC_ScrollBar, &bar, SC_ScrollBarSlider, widget)
                .adjusted(2, 2, -2, -2),
            Mix(ground, Highlight(), depth));
  }
};

}  // namespace

QStyle* MakeStyle() { return new Style; }

QPalette MakePalette() {
  const QColor back(230, 238, 250), text(16, 24, 40);
  QPalette palette(QColor(213, 226, 246), back);
  for (const auto role :
       {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText}) {
    palette.setColor(role, text);
    palette.setColor(QPalette::Disabled, role, Faint(text, back));
  }
  palette.setColor(QPalette::Base, Qt::white);
  palette.setColor(QPalette::Highlight, Highlight());
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::ToolTipBase, QColor(255, 255, 240));
  return palette;
}

}  // namespace desktop
