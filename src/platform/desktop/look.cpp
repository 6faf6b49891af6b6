#include "platform/desktop/look.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QTextDocument>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "platform/text/text.h"

namespace desktop {

namespace {

double Luminance(const QColor& color) {
  auto linear = [](double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
         0.0722 * linear(color.blueF());
}

double formZoom = 1;

// At scales such as 150 percent a pixel of ours is no whole number of the
// screen's. Lines are put on whole ones, so that all are sharp and as wide.
QRectF Whole(const QPainter& painter, const QRect& rect) {
  const QTransform toScreen = painter.deviceTransform();
  const QRectF there = toScreen.mapRect(QRectF(rect));
  const QPointF from(std::round(there.left()), std::round(there.top()));
  const QPointF to(std::round(there.right()), std::round(there.bottom()));
  return toScreen.inverted().mapRect(QRectF(from, to));
}

qreal LineWidth(const QPainter& painter) {
  const qreal scale = painter.deviceTransform().m11();
  return std::max(1.0, std::floor(scale)) / scale;
}

// Of the corners of boxes and buttons.
qreal Radius() { return 3 * formZoom; }

void FillSmoothly(QPainter& painter, const QPainterPath& path, const QColor& color) {
  const bool smooth = painter.testRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillPath(path, color);
  painter.setRenderHint(QPainter::Antialiasing, smooth);
}

}  // namespace

double Zoom() { return formZoom; }
void SetZoom(double zoom) { formZoom = zoom; }

int Pixels(int twips) { return static_cast<int>(std::lround(twips * formZoom / kTwipsPerPixel)); }
int WholePixels(int twips) {
  return static_cast<int>(std::floor(twips * formZoom / kTwipsPerPixel));
}

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

double Contrast(const QColor& a, const QColor& b) {
  const double ofA = Luminance(a) + 0.05, ofB = Luminance(b) + 0.05;
  return std::max(ofA, ofB) / std::min(ofA, ofB);
}

QColor Readable(const QColor& fore, const QColor& back) {
  constexpr float kStep = 0.01F;
  // The middle of the scale of contrasts: black and white stand out alike.
  const float step = Luminance(back) > 0.179 ? -kStep : kStep;
  float hue = 0, saturation = 0, lightness = 0;
  fore.getHslF(&hue, &saturation, &lightness);
  QColor color = fore;
  while (Contrast(color, back) < 4.5 && lightness > 0 && lightness < 1) {
    lightness = std::clamp(lightness + step, 0.0F, 1.0F);
    color = QColor::fromHslF(hue, saturation, lightness).toRgb();
  }
  return color;
}

QColor Mix(const QColor& a, const QColor& b, double partOfB) {
  auto channel = [partOfB](int x, int y) {
    return static_cast<int>(std::lround(x * (1 - partOfB) + y * partOfB));
  };
  return QColor(channel(a.red(), b.red()), channel(a.green(), b.green()),
                channel(a.blue(), b.blue()));
}

QColor Faint(const QColor& fore, const QColor& back) {
  return Readable(Mix(fore, back, 0.3), back);
}
QColor Quiet(const QColor& back, const QColor& around) { return Mix(back, around, 0.55); }
QColor Stripe(const QColor& back) { return Mix(back, Highlight(), 0.05); }
QColor FaintHighlight(const QColor& back) { return Mix(back, Highlight(), 0.25); }
QColor Line(const QColor& back) { return Mix(back, QColor(24, 56, 104), 0.42); }
QColor Highlight() { return QColor(27, 92, 168); }
QColor Alarm() { return QColor(190, 30, 45); }

QFont FaceFont(toolkit::Font face, int pixelSize) {
  QFont font;
  if (face == toolkit::Font::Fixed) {
    font.setFamilies({"Liberation Mono", "Courier New", "DejaVu Sans Mono", "monospace"});
    font.setStyleHint(QFont::TypeWriter);
    font.setFixedPitch(true);
  } else {
    font.setFamilies({"Liberation Sans", "Arial", "DejaVu Sans", "sans-serif"});
    font.setStyleHint(QFont::SansSerif);
  }
  // Hinting would round the 6.6 pixels of a fixed-pitch character up to 7.
  font.setHintingPreference(QFont::PreferNoHinting);
  font.setBold(face == toolkit::Font::Bold || face == toolkit::Font::Heading);
  SetSize(font, pixelSize);
  return font;
}

void SetSize(QFont& font, int pixelSize) {
  // Only whole sizes are drawn. What rounding up adds has room in every box.
  constexpr double kRoundingUp = 0.2;
  font.setPixelSize(std::max(1, static_cast<int>(pixelSize * formZoom + kRoundingUp)));
}

QFont BoxFont() { return FaceFont(toolkit::Font::Normal, 12); }

void UseFonts() {
  // Every further font costs the start of the program about a thirtieth of its time:
  // what is read outside of the form gets its own when it shows.
  QApplication::setFont(FaceFont(toolkit::Font::Normal));
  QToolTip::setFont(BoxFont());
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
    if (from > 0) {
      lines += '\n';
    }
    lines += Display(units.substr(from, end - from));
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
  QString shown = DisplayLines(text);
  if (Qt::mightBeRichText(shown)) {
    return "<span>" + shown.toHtmlEscaped() + "</span>";
  }
  return shown;
}

void DrawEdge(QPainter& painter, const QRect& rect, toolkit::Border edge, const QColor& back) {
  if (edge == toolkit::Border::Raised) {
    DrawRing(painter, rect, Highlight(), 2);
  } else if (edge != toolkit::Border::None) {
    DrawRing(painter, rect, Line(back));
  }
}

void DrawFrame(QPainter& painter, const QRect& rect, const QColor& color, int lines) {
  const QRectF out = Whole(painter, rect);
  const qreal width = lines * LineWidth(painter);
  painter.fillRect(QRectF(out.left(), out.top(), out.width(), width), color);
  painter.fillRect(QRectF(out.left(), out.bottom() - width, out.width(), width), color);
  painter.fillRect(QRectF(out.left(), out.top(), width, out.height()), color);
  painter.fillRect(QRectF(out.right() - width, out.top(), width, out.height()), color);
}

void FillBox(QPainter& painter, const QRect& rect, const QColor& color) {
  QPainterPath box;
  box.addRoundedRect(Whole(painter, rect), Radius(), Radius());
  FillSmoothly(painter, box, color);
}

void DrawRing(QPainter& painter, const QRect& rect, const QColor& color, int lines) {
  const QRectF out = Whole(painter, rect);
  const qreal width = lines * LineWidth(painter);
  const qreal inner = std::max(0.0, Radius() - width);
  QPainterPath ring;
  ring.addRoundedRect(out, Radius(), Radius());
  ring.addRoundedRect(out.adjusted(width, width, -width, -width), inner, inner);
  FillSmoothly(painter, ring, color);
}

}  // namespace desktop
