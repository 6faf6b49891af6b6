// How the form looks: measures, fonts, colours and the drawing of frames, the
// same on every desktop whatever its own theme.
#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QRect>
#include <QString>
#include <string_view>

#include "platform/toolkit/control.h"

class QPainter;
class QStyle;

namespace desktop {

constexpr int kTwipsPerPixel = 15;

// Size of the form as part of its designed one: below 1 where the screen, at the
// desktop's scale, is too small for it. All measures and fonts follow it; who
// changes it lays the form out again.
double Zoom();
void SetZoom(double zoom);

// Place of a control in its frame. Edges are rounded, not sizes, so that what
// touches in twips touches in pixels.
QRect PixelRect(const toolkit::Control& control);
int Pixels(int twips);
int WholePixels(int twips);  // rounded down

QColor ToQt(toolkit::Color color);
// Contrast of two colours by the formula of WCAG 2, 1 to 21.
double Contrast(const QColor& a, const QColor& b);
// A text colour that can be read on `back`, at a contrast of 4.5 or more: `fore`
// itself, otherwise one of its hue, lighter or darker.
QColor Readable(const QColor& fore, const QColor& back);
// Text colour of what is disabled: fainter, yet readable on `back`.
QColor Faint(const QColor& fore, const QColor& back);
// `a` with that part of `b` in it.
QColor Mix(const QColor& a, const QColor& b, double partOfB);
// Ground of a box of colour `back` into which nothing can be typed, on `around`.
QColor Quiet(const QColor& back, const QColor& around);
// Fill of every second row of a list whose background is `back`.
QColor Stripe(const QColor& back);
// Fill of the selected row of a disabled list whose background is `back`.
QColor FaintHighlight(const QColor& back);
// Line round a control on a background.
QColor Line(const QColor& back);
QColor Highlight();
// What is wrong, or refused; a frame is lit by it for kFlash milliseconds.
QColor Alarm();
constexpr int kFlash = 150;

// Size in pixels, so that texts keep their proportion to the twips whatever
// resolution the desktop claims.
QFont FaceFont(toolkit::Font face, int pixelSize = 11);
void SetSize(QFont& font, int pixelSize);
// Of message boxes, menus and tooltips.
QFont BoxFont();
// Gives the application its fonts, at the zoom of now.
void UseFonts();

// `text` as it is drawn, with as many units: control characters become blanks,
// halves of surrogate pairs U+FFFD.
QString Display(std::u16string_view text);
// The same for texts of several lines, which end with code 13.
QString DisplayLines(std::u16string_view text);
// A caption without its access key mark and its outer blanks.
QString Spoken(std::u16string_view caption);
// A tooltip that is never taken for markup.
QString PlainToolTip(std::u16string_view text);

// Style and palette of the application: the form's own, and of its boxes.
QStyle* MakeStyle();
QPalette MakePalette();

// The grounds and rings of boxes, buttons and frames, whose corners are round.
void FillBox(QPainter& painter, const QRect& rect, const QColor& color);
void DrawRing(QPainter& painter, const QRect& rect, const QColor& color, int lines = 1);
void DrawEdge(QPainter& painter, const QRect& rect, toolkit::Border edge, const QColor& back);
// A square one. All are along the inside of `rect`, that many lines wide.
void DrawFrame(QPainter& painter, const QRect& rect, const QColor& color, int lines = 1);

}  // namespace desktop
