#include "platform/desktop/look.h"

#include <QPainter>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>
#include <QTextDocument>
#include <cmath>

#include "platform/text/text.h"

namespace desktop {

namespace {

QColor Mix(const QColor& a, const QColor& b, double partOfB) {
  auto channel = [partOfB](int x, int y) {
    return static_cast<int>(std::lround(x * (1 - partOfB) + y * partOfB));
  };
  return QColor(channel(a.red(), b.red()), channel(a.green(), b.green()),
                channel(a.blue(), b.blue()));
}

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
    painter.setFont(FaceFont(toolkit::Font::Bold, size * 11 / 16));
    painter.drawText(QRect(0, 0, size, size), Qt::AlignCenter, sign);
    icon.addPixmap(pixmap);
  }
  return icon;
}

// Fusion with what must not follow the desktop's settings.
class Style : public QProxyStyle {
 public:
  Style() : QProxyStyle(QStyleFactory::create("Fusion")) {}

  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    switch (metric) {
      case PM_ScrollBarExtent:
        return 14;
      case PM_ExclusiveIndicatorWidth:
      case PM_ExclusiveIndicatorHeight:
        return 13;
      default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
  }

  // Fusion's own marks of the focus are faint, and its boxes' buttons have none until
  // a key is pressed.
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    QProxyStyle::drawControl(element, option, painter, widget);
    const bool button = element == CE_PushButtonBevel;
    if ((button || element == CE_RadioButton) && option->state & State_HasFocus) {
      painter->setPen(QPen(Highlight(), 1, Qt::DotLine));
      painter->setBrush(Qt::NoBrush);
      painter->drawRect(button ? option->rect.adjusted(4, 4, -5, -5)
                               : option->rect.adjusted(0, 0, -1, -1));
    }
  }

  QIcon standardIcon(StandardPixmap which, const QStyleOption* option,
                     const QWidget* widget) const override {
    switch (which) {
      case SP_MessageBoxInformation:
        return Disc(Highlight(), "i");
      case SP_MessageBoxQuestion:
        return Disc(Highlight(), "?");
      case SP_MessageBoxCritical:
        return Disc(QColor(190, 30, 45), "!");
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
};

}  // namespace

int Pixels(int twips) { return static_cast<int>(std::lround(double(twips) / kTwipsPerPixel)); }

QRect PixelRect(const toolkit::Control& control) {
  const QPoint from(Pixels(control.Left()), Pixels(control.Top()));
  const QPoint to(Pixels(control.Left() + control.Width()),
                  Pixels(control.Top() + control.Height()));
  return QRect(from, QSize(std::max(0, to.x() - from.x()), std::max(0, to.y() - from.y())));
}

QColor ToQt(toolkit::Color color) {
  return QColor(static_cast<int>(color & 0xFF), static_cast<int>(color >> 8 & 0xFF),
                static_cast<int>(color >> 16 & 0xFF));
}

QColor Faint(const QColor& fore, const QColor& back) { return Mix(fore, back, 0.3); }
QColor Line(const QColor& back) { return Mix(back, QColor(24, 56, 104), 0.42); }
QColor Highlight() { return QColor(27, 92, 168); }

QFont FaceFont(toolkit::Font face, int pixelSize) {
  QFont font;
  if (face == toolkit::Font::Fixed) {
    font.setFamilies({"Courier New", "Liberation Mono", "DejaVu Sans Mono", "monospace"});
    font.setStyleHint(QFont::TypeWriter);
    font.setFixedPitch(true);
  } else {
    font.setFamilies({"Liberation Sans", "Arial", "DejaVu Sans", "sans-serif"});
    font.setStyleHint(QFont::SansSerif);
  }
  // Hinting would round the 6.6 pixels of a fixed-pitch character up to 7.
  font.setHintingPreference(QFont::PreferNoHinting);
  font.setBold(face == toolkit::Font::Bold);
  font.setPixelSize(pixelSize);
  return font;
}

QString Display(std::u16string_view units) {
  QString shown(reinterpret_cast<const QChar*>(units.data()), static_cast<qsizetype>(units.size()));
  for (std::size_t i = 0; i < units.size(); ++i) {
    const char16_t c = units[i];
    if (text::IsControl(c) || c == 0xFFFC) {
      shown[static_cast<qsizetype>(i)] = u' ';
    } else if (text::IsHighSurrogate(c) && i + 1 < units.size() &&
               text::IsLowSurrogate(units[i + 1])) {
      ++i;
    } else if (text::IsHighSurrogate(c) || text::IsLowSurrogate(c)) {
      shown[static_cast<qsizetype>(i)] = QChar(0xFFFD);
    }
  }
  return shown;
}

QString DisplayLines(std::u16string_view units) {
  QString lines;
  for (std::size_t from = 0; from <= units.size();) {
    const std::size_t end = std::min(units.find(u'\r', from), units.size());
    lines += (from > 0 ? "\n" : "") + Display(units.substr(from, end - from));
    from = end + 1;
    if (from < units.size() && units[from] == u'\n') {
      ++from;
    }
  }
  return lines;
}

QString Spoken(std::u16string_view caption) {
  std::u16string plain;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == u'&' && i + 1 < caption.size()) {
      ++i;
    }
    plain.push_back(caption[i]);
  }
  return Display(plain).simplified();
}

QString PlainToolTip(std::u16string_view text) {
  const QString shown = DisplayLines(text);
  return Qt::mightBeRichText(shown) ? "<span>" + shown.toHtmlEscaped() + "</span>" : shown;
}

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

void DrawEdge(QPainter& painter, const QRect& rect, toolkit::Border edge, const QColor& back) {
  if (edge == toolkit::Border::None) {
    return;
  }
  const QRect line = rect.adjusted(0, 0, -1, -1);
  painter.setPen(Line(back));
  painter.setBrush(Qt::NoBrush);
  painter.drawRect(line);
  if (edge == toolkit::Border::Sunken) {
    painter.setPen(Mix(back, Qt::white, 0.8));
    painter.drawLine(line.bottomLeft() + QPoint(1, 0), line.bottomRight());
    painter.drawLine(line.topRight() + QPoint(0, 1), line.bottomRight());
  }
}

}  // namespace desktop
