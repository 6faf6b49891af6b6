#include "platform/desktop/listview.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QtMath>
#include <algorithm>

#include "platform/desktop/input.h"
#include "platform/desktop/look.h"
#include "platform/text/text.h"

namespace desktop {

namespace {
constexpr int kTextInset = 2;
}

ListView::ListView(toolkit::ListBox& list, QWidget* parent) : WidgetFor(list, parent) {
  setFrameStyle(QFrame::Box | QFrame::Plain);
  setFocusPolicy(Qt::TabFocus);
  // Rows are painted on the base colour, which is the list's own.
  viewport()->setBackgroundRole(QPalette::Base);
  for (QScrollBar* bar : {verticalScrollBar(), horizontalScrollBar()}) {
    bar->setFocusPolicy(Qt::NoFocus);
    bar->setContextMenuPolicy(Qt::NoContextMenu);
    QPalette palette = bar->palette();
    palette.setColor(QPalette::Window, QColor(230, 238, 250));
    bar->setPalette(palette);
  }
}

void ListView::Apply() {
  ApplyColours(true);
  if (const int height = std::max(1, WholePixels(toolkit::ListBox::kRowHeight));
      row_height_ != height) {
    row_height_ = height;
    setLineWidth(std::max(2, Pixels(toolkit::ListBox::kInset)));
    SetRanges();
  }
  if (revision_ != model_.Revision()) {
    // Each row added counts the revision up by one; anything beyond is a Clear.
    const auto added = static_cast<std::uint64_t>(model_.ListCount() - rows_);
    if (model_.ListCount() < rows_ || model_.Revision() - revision_ != added) {
      horizontalScrollBar()->setValue(0);
      selected_ = -1;
    }
    revision_ = model_.Revision();
    rows_ = model_.ListCount();
    SetRanges();
  }
  const auto policy = [](bool on) { return on ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff; };
  if (horizontalScrollBarPolicy() != policy(model_.Wide()) ||
      verticalScrollBarPolicy() != policy(model_.Long())) {
    setHorizontalScrollBarPolicy(policy(model_.Wide()));
    setVerticalScrollBarPolicy(policy(model_.Long()));
    // Now, not at the next turn of the event loop: where rows lie is asked for before that.
    // Each resizing of the view sets the ranges again.
    QEvent layout(QEvent::LayoutRequest);
    QCoreApplication::sendEvent(this, &layout);
  }
  verticalScrollBar()->setValue(model_.TopIndex());
  if (selected_ != model_.ListIndex()) {
    selected_ = model_.ListIndex();
    TellRow();
  }
  viewport()->update();
}

void ListView::Listen(Input& input) {
  input.Watch(*viewport(), *this);
  picked = [this, &input](int row) {
    input.Form().UserClickRow(model_, row);
    input.After();
  };
  connect(verticalScrollBar(), &QScrollBar::valueChanged, &input, [this, &input](int row) {
    if (!input.View().Syncing()) {
      input.Form().UserScroll(model_, row);
    }
  });
}

void ListView::OnPress(Input& input, const QMouseEvent& event, bool again) {
  const int row = RowAt(event.position().toPoint());
  if (again && event.type() == QEvent::MouseButtonDblClick && row == pressed_row_) {
    input.Form().UserDblClickRow(model_, row);
  } else {
    pressed_row_ = row;
    input.Form().UserClickRow(model_, row);
  }
  input.After();
}

ControlView::Spot ListView::SpotOf(const QContextMenuEvent& event) {
  const bool byKey = event.reason() == QContextMenuEvent::Keyboard;
  return {.row = byKey ? model_.ListIndex() : RowAt(event.pos())};
}

// For those who hear the list: its row, once the list itself has been named.
void ListView::TellRow() {
  if (QAccessible::isActive() && hasFocus() && selected_ >= 0) {
    QAccessibleEvent change(this, QAccessible::Focus);
    change.setChild(selected_);
    QAccessible::updateAccessibility(&change);
  }
}

void ListView::SetRanges() {
  const int width =
      qCeil(model_.Widest() * QFontMetricsF(font(), this).horizontalAdvance(u'0')) + 2 * kTextInset;
  verticalScrollBar()->setRange(0, std::max(0, model_.ListCount() - WholeRows()));
  verticalScrollBar()->setPageStep(std::max(1, WholeRows()));
  horizontalScrollBar()->setRange(0, std::max(0, width - viewport()->width()));
  horizontalScrollBar()->setPageStep(viewport()->width());
  horizontalScrollBar()->setSingleStep(20);
}

int ListView::TopRow() const { return verticalScrollBar()->value(); }

int ListView::RowsInView() const {
  return std::clamp(model_.ListCount() - TopRow(), 0, WholeRows());
}

int ListView::WholeRows() const { return std::max(1, viewport()->height() / row_height_); }

int ListView::RowAt(const QPoint& place) const {
  const int row = TopRow() + place.y() / row_height_;
  if (place.y() < 0 || row >= TopRow() + RowsInView()) {
    return -1;
  }
  return row;
}

QRect ListView::RowRect(int row) const {
  return QRect(0, (row - TopRow()) * row_height_, viewport()->width(), row_height_);
}

QString ListView::RowText(int row) const { return Display(model_.List(row)); }

bool ListView::event(QEvent* event) {
  if (event->type() == QEvent::Paint) {
    QPainter painter(this);
    FillBox(painter, rect(), palette().color(QPalette::Base));
    if (hasFocus()) {
      DrawRing(painter, rect(), Highlight(), 2);
    } else {
      DrawRing(painter, rect(), Line(palette().color(QPalette::Window)));
    }
    return true;
  }
  if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
    update();
    viewport()->update();
  }
  if (event->type() == QEvent::FocusIn) {
    QMetaObject::invokeMethod(this, &ListView::TellRow, Qt::QueuedConnection);
  }
  return QAbstractScrollArea::event(event);
}

void ListView::paintEvent(QPaintEvent* event) {
  QPainter painter(viewport());
  painter.setFont(font());
  const QFontMetricsF metrics(font(), this);
  const double baseline = (row_height_ - metrics.height()) / 2 + metrics.ascent();
  const int shift = kTextInset - horizontalScrollBar()->value();
  const int end = TopRow() + RowsInView();
  const QColor stripe = Stripe(palette().color(QPalette::Base));
  for (int row = TopRow(); row < end; ++row) {
    const QRect place = RowRect(row);
    if (!place.intersects(event->rect())) {
      continue;
    }
    const bool on = row == model_.ListIndex();
    painter.setPen(palette().color(on && isEnabled() ? QPalette::HighlightedText : QPalette::Text));
    if (on && isEnabled()) {
      painter.fillRect(place, Highlight());
    } else if (!on && row % 2 == 1) {
      painter.fillRect(place, stripe);
    } else if (on) {
      const QColor back = FaintHighlight(palette().color(QPalette::Base));
      painter.fillRect(place, back);
      painter.setPen(Readable(painter.pen().color(), back));
    }
    // The blanks that fill up a row cost as much as letters.
    painter.drawText(QPointF(shift, place.top() + baseline),
                     Display(text::TrimRight(model_.List(row))));
    if (on && hasFocus()) {
      DrawFrame(painter, place, QColor(255, 255, 255, 150));
    }
  }
}

void ListView::resizeEvent(QResizeEvent*) { SetRanges(); }

void ListView::scrollContentsBy(int, int) { viewport()->update(); }

}  // namespace desktop
