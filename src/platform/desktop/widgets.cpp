#include "platform/desktop/widgets.h"

#include <QPainter>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <algorithm>
#include <cmath>
#include <utility>

namespace desktop {

void Dress::PutOn(QWidget& widget, const toolkit::Control& control) {
  const bool worn = zoom_ > 0;
  // The normal face is the application's.
  if (std::exchange(zoom_, Zoom()) != Zoom() && control.Face() != toolkit::Font::Normal) {
    widget.setFont(FaceFont(control.Face()));
  }
  if (worn && fore_ == control.ForeColor() && back_ == control.BackColor()) {
    return;
  }
  fore_ = control.ForeColor();
  back_ = control.BackColor();
  const QColor fore = ToQt(fore_), back = ToQt(back_);
  const bool box =
      control.Type() == toolkit::Kind::TextBox || control.Type() == toolkit::Kind::ListBox;
  QPalette palette = widget.palette();
  const QColor text = Readable(fore, back), disabledBack = back.darker(106);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(role, text);
    palette.setColor(QPalette::Disabled, role, Faint(text, box ? disabledBack : back));
  }
  // A box is outlined by the style in a shade of its surroundings.
  const QColor around =
      box && control.Container() != nullptr ? ToQt(control.Container()->BackColor()) : back;
  for (const auto role : {QPalette::Window, QPalette::Button}) {
    palette.setColor(role, around);
  }
  palette.setColor(QPalette::Base, box ? back : QColor(Qt::white));
  palette.setColor(QPalette::Disabled, QPalette::Base, disabledBack);
  widget.setPalette(palette);
}

// --- Text box

TextField::TextField(QWidget* parent) : QLineEdit(parent) {
  setMaxLength(1 << 20);
  setDragEnabled(false);
  setAcceptDrops(false);
  setFocusPolicy(Qt::TabFocus);
  setTextMargins(1, 0, 1, 0);  // keeps the caret off the ring of the focus
}

void TextField::Apply(const toolkit::TextBox& box, bool focused) {
  dress_.PutOn(*this, box);
  if (isReadOnly() != box.Locked()) {
    setReadOnly(box.Locked());
  }
  if (const QString shown = Display(box.Text()); text() != shown) {
    focused ? Change(shown) : setText(shown);
  }
  const int start = box.SelStart(), length = focused ? box.SelLength() : 0;
  if (length == 0) {
    if (hasSelectedText()) {
      deselect();
    }
    setCursorPosition(start);
    return;
  }
  const int active = box.ActiveEnd();
  if (selectionStart() != start || selectionLength() != length || cursorPosition() != active) {
    active == start ? setSelection(start + length, -length) : setSelection(start, length);
  }
}

// Only what differs is replaced, so that a screen reader says what has been typed and
// not the whole text.
void TextField::Change(const QString& to) {
  const QString from = text();
  const auto limit = std::min(from.size(), to.size());
  const auto start = std::mismatch(from.begin(), from.begin() + limit, to.begin()).first;
  const auto end = std::mismatch(from.rbegin(), from.rbegin() + limit, to.rbegin()).first;
  const qsizetype before = start - from.begin();
  const qsizetype after = std::min<qsizetype>(end - from.rbegin(), limit - before);
  if (const auto old = from.size() - before - after; old > 0) {
    setSelection(static_cast<int>(before), static_cast<int>(old));
    del();
  } else {
    setCursorPosition(static_cast<int>(before));
  }
  if (const QString added = to.mid(before, to.size() - before - after); !added.isEmpty()) {
    insert(added);
  }
  if (text() != to) {  // cut amid a character of two units
    setText(to);
  }
}

// Qt draws no caret where nothing can be typed; here keys do act on such a field.
void TextField::paintEvent(QPaintEvent* event) {
  QLineEdit::paintEvent(event);
  if (isReadOnly() && hasFocus()) {
    QPainter painter(this);
    const QRect caret = cursorRect();
    painter.fillRect(QRect(caret.center().x(), caret.top(), 1, caret.height()),
                     palette().color(QPalette::Text));
  }
}

// --- Buttons

Button::Button(QWidget* parent) : QPushButton(parent) {
  setAutoDefault(false);
  setFocusPolicy(Qt::TabFocus);
}

void Button::Apply(const toolkit::CommandButton& button) {
  dress_.PutOn(*this, button);
  if (const QString caption = DisplayLines(button.Caption()); text() != caption) {
    setText(caption);
    // Alt and the letter are the model's, not a shortcut of Qt's.
    setShortcut({});
  }
  if (!button.Usable()) {
    setDown(false);
  }
}

void Button::initStyleOption(QStyleOptionButton* option) const {
  QPushButton::initStyleOption(option);
  if (hasFocus()) {
    option->state |= QStyle::State_KeyboardFocusChange;
  }
}

void Button::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionButton option;
  initStyleOption(&option);
  painter.drawControl(QStyle::CE_PushButtonBevel, option);
  constexpr int kFlags = Qt::AlignCenter | Qt::TextWordWrap | Qt::TextShowMnemonic;
  QRect room = rect().adjusted(3, 2, -3, -2);
  for (int size = 11; size > 8; --size) {
    QFont face = font();
    SetSize(face, size);
    painter.setFont(face);
    const QRect needed = QFontMetrics(face, this).boundingRect(room, kFlags, text());
    whole_ = needed.width() <= room.width() && needed.height() <= room.height();
    if (whole_) {
      break;
    }
  }
  if (isDown()) {
    room.translate(1, 1);
  }
  painter.drawItemText(room, kFlags, palette(), isEnabled(), text(), QPalette::ButtonText);
}

Option::Option(QWidget* parent) : QRadioButton(parent) {
  // Which of a group is on is the model's business.
  setAutoExclusive(false);
  setAutoFillBackground(true);
  setFocusPolicy(Qt::TabFocus);
}

void Option::Apply(const toolkit::OptionButton& option) {
  dress_.PutOn(*this, option);
  if (const QString caption = Display(option.Caption()); text() != caption) {
    setText(caption);
    setShortcut({});
  }
  QStyleOptionButton drawn;
  initStyleOption(&drawn);
  const int room = style()->subElementRect(QStyle::SE_RadioButtonContents, &drawn, this).width();
  QFont face = font();
  for (int size = 11; size > 8; --size) {
    SetSize(face, size);
    whole_ = QFontMetrics(face, this).size(Qt::TextShowMnemonic, text()).width() <= room + 1;
    if (whole_) {
      break;
    }
  }
  if (face != font()) {
    setFont(face);
  }
  setChecked(option.Value());
  if (!option.Usable()) {
    setDown(false);
  }
}

void Option::initStyleOption(QStyleOptionButton* option) const {
  QRadioButton::initStyleOption(option);
  if (hasFocus()) {
    option->state |= QStyle::State_KeyboardFocusChange;
  }
}

// --- Labels

LabelBox::LabelBox(QWidget* parent) : QLabel(parent) { setTextFormat(Qt::PlainText); }

void LabelBox::Apply(const toolkit::Label& label) {
  dress_.PutOn(*this, label);
  face_ = label.Face();
  edge_ = label.Edge();
  // Nothing is filled that looks the same without, so that a label hides no
  // border which it overlaps.
  const toolkit::Control* frame = label.Container();
  setAutoFillBackground(edge_ != toolkit::Border::None || frame == nullptr ||
                        frame->BackColor() != label.BackColor());
  setText(DisplayLines(label.Caption()));
}

namespace {

// The lines of a text broken at blanks; true when all of them fit.
bool BreakLines(QTextLayout& layout, const QSize& room, qreal lineHeight,
                std::vector<QTextLine>& lines) {
  bool fits = true;
  lines.clear();
  layout.beginLayout();
  for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
    line.setLineWidth(room.width());
    fits = fits && line.naturalTextWidth() <= room.width() + 1;
    lines.push_back(line);
  }
  layout.endLayout();
  return fits && lineHeight * static_cast<qreal>(lines.size()) <= room.height() + 1;
}

}  // namespace

void LabelBox::LayOut(const QSize& room) {
  if (layout_ != nullptr && laidOut_ == text() && room_ == room && zoom_ == Zoom()) {
    return;
  }
  zoom_ = Zoom();
  laidOut_ = text();
  room_ = room;
  QString shown = text();
  shown.replace('\n', QChar::LineSeparator);
  for (int size = 11; size > 8; --size) {
    const QFont face = FaceFont(face_, size);
    layout_ = std::make_unique<QTextLayout>(shown, face, this);
    layout_->setCacheEnabled(true);
    QTextOption wrap;
    wrap.setWrapMode(QTextOption::WordWrap);
    layout_->setTextOption(wrap);
    lineHeight_ = QFontMetricsF(face, this).height();
    // Where the font came out smaller than its place, lines break as designed.
    const double part = std::min(1.0, face.pixelSize() / (size * Zoom()));
    const QSize wrapped(static_cast<int>(room.width() * part), room.height());
    whole_ = BreakLines(*layout_, wrapped, lineHeight_, lines_);
    if (whole_) {
      break;
    }
  }
}

void LabelBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  DrawEdge(painter, rect(), edge_, palette().color(QPalette::Window));
  if (text().isEmpty()) {
    whole_ = true;
    return;
  }
  const bool bordered = edge_ != toolkit::Border::None;
  const QRect room = bordered ? rect().adjusted(3, 1, -3, -1) : rect();
  LayOut(room.size());
  const auto count = static_cast<qreal>(lines_.size());
  qreal y = room.top();
  if (bordered || lines_.size() == 1) {
    y += std::max(0.0, std::floor((room.height() - count * lineHeight_) / 2));
  }
  painter.setPen(
      palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
  for (const QTextLine& line : lines_) {
    line.draw(&painter, QPointF(room.left(), y - line.y()));
    y += std::round(lineHeight_);
  }
}

// --- Frames, borders, status bar

void FrameBox::Apply(const toolkit::Frame& frame) {
  dress_.PutOn(*this, frame);
  setAutoFillBackground(true);
  edge_ = frame.Edge();
  caption_ = Spoken(frame.Caption());
  if (edge_ == toolkit::Border::Raised && shadow_ == nullptr) {
    shadow_ = new ShadowBox(this);
  }
  update();
}

void FrameBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QColor back = palette().color(QPalette::Window);
  if (caption_.isEmpty()) {
    DrawEdge(painter, rect(), edge_, back);
    return;
  }
  const QFontMetrics metrics(font(), this);
  DrawEdge(painter, rect().adjusted(0, metrics.height() / 2, 0, 0), toolkit::Border::Line, back);
  const QRect title(8, 0, metrics.horizontalAdvance(caption_) + 6, metrics.height());
  painter.fillRect(title, back);
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawText(title, Qt::AlignCenter, caption_);
}

ShadowBox::ShadowBox(QWidget* frame) : QWidget(frame->parentWidget()), frame_(frame) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  frame->installEventFilter(this);
  Follow();
}

bool ShadowBox::eventFilter(QObject* frame, QEvent* event) {
  switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
      Follow();
      break;
    default:
      break;
  }
  return QWidget::eventFilter(frame, event);
}

void ShadowBox::Follow() {
  const int depth = std::max(1, Pixels(75));
  setGeometry(frame_->geometry().translated(depth, depth));
  stackUnder(frame_);
  setVisible(!frame_->isHidden());
}

void ShadowBox::paintEvent(QPaintEvent*) { QPainter(this).fillRect(rect(), QColor(0, 16, 48, 70)); }

ShapeBox::ShapeBox(QWidget* parent) : QWidget(parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void ShapeBox::Apply(const toolkit::Shape& shape) {
  back_ = ToQt(shape.BackColor());
  update();
}

void ShapeBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  DrawEdge(painter, rect(), toolkit::Border::Line, back_);
}

namespace {

constexpr int kPanelEdge = 2, kPanelMargin = 6;  // pixels

}  // namespace

StatusPanel::StatusPanel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

int StatusPanel::Needed() const {
  return QFontMetrics(font(), this).horizontalAdvance(text()) + 2 * (kPanelEdge + kPanelMargin);
}

void StatusPanel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRect panel = rect().adjusted(kPanelEdge, kPanelEdge, -kPanelEdge, -kPanelEdge);
  DrawEdge(painter, panel, toolkit::Border::Sunken, palette().color(QPalette::Window));
  const QRect room = panel.adjusted(kPanelMargin, 0, -kPanelMargin, 0);
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   QFontMetrics(font(), this).elidedText(text(), Qt::ElideRight, room.width()));
}

StatusBox::StatusBox(QWidget* parent) : QWidget(parent) { setAutoFillBackground(true); }

void StatusBox::Apply(toolkit::StatusBar& bar) {
  dress_.PutOn(*this, bar);
  while (static_cast<int>(panels_.size()) < bar.PanelCount()) {
    panels_.push_back(new StatusPanel(this));
  }
  constexpr int kLeast = 6;  // part of the bar that a panel has at least
  int left = 0;
  for (std::size_t i = 0; i < panels_.size(); ++i) {
    StatusPanel& panel = *panels_[i];
    if (const QString text = Display(bar.Panels(static_cast<int>(i) + 1).Text());
        text != panel.text()) {
      panel.setText(text);
    }
    const bool last = i + 1 == panels_.size();
    const int wanted = last ? width() - left : std::max(panel.Needed(), width() / kLeast);
    panel.setGeometry(left, 0, std::min(wanted, last ? wanted : width() / 2), height());
    left += panel.width();
  }
}

}  // namespace desktop
