#include "platform/desktop/widgets.h"

#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>
#include <QStyleOptionButton>
#include <QStylePainter>
#include <QTextBoundaryFinder>
#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/desktop/input.h"

namespace desktop {

void ControlView::OnRelease(Input& input, const QMouseEvent& event) {
  if (Widget().rect().contains(event.position().toPoint())) {
    input.Form().UserClick(control_);
    input.After();
  }
}

void ControlView::ApplyColours(bool box) {
  QWidget& widget = Widget();
  const bool set = zoom_ > 0;
  // The normal face is the application's.
  if (std::exchange(zoom_, Zoom()) != Zoom() && control_.Face() != toolkit::Font::Normal) {
    widget.setFont(FaceFont(control_.Face()));
  }
  if (set && fore_ == control_.ForeColor() && back_ == control_.BackColor()) {
    return;
  }
  fore_ = control_.ForeColor();
  back_ = control_.BackColor();
  const QColor fore = ToQt(fore_), back = ToQt(back_);
  QPalette palette = widget.palette();
  // A box is outlined by the style in a shade of its surroundings.
  QColor around = back;
  if (box && control_.Container() != nullptr) {
    around = ToQt(control_.Container()->BackColor());
  }
  const QColor text = Readable(fore, back), disabledBack = Quiet(back, around);
  QColor base = Qt::white, behind = back;
  if (box) {
    base = back;
    behind = disabledBack;
  }
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(role, text);
    palette.setColor(QPalette::Disabled, role, Faint(text, behind));
  }
  for (const auto role : {QPalette::Window, QPalette::Button}) {
    palette.setColor(role, around);
  }
  palette.setColor(QPalette::Base, base);
  palette.setColor(QPalette::Disabled, QPalette::Base, disabledBack);
  widget.setPalette(palette);
}

// --- Text box

TextField::TextField(toolkit::TextBox& box, QWidget* parent) : WidgetFor(box, parent) {
  setMaxLength(1 << 20);
  setDragEnabled(false);
  setAcceptDrops(false);
  setFocusPolicy(Qt::TabFocus);
  setTextMargins(1, 0, 1, 0);  // keeps the caret off the ring of the focus
  flash_.setSingleShot(true);
  connect(&flash_, &QTimer::timeout, this, [this] { update(); });
}

void TextField::Apply() {
  ApplyColours(true);
  const bool focused = model_.HasFocus();
  if (isReadOnly() != model_.Locked()) {
    setReadOnly(model_.Locked());
  }
  if (const QString shown = Display(model_.Text()); text() != shown) {
    if (focused) {
      Change(shown);
    } else {
      setText(shown);
    }
  }
  if (const int refusals = model_.Refusals(); std::exchange(refusals_, refusals) < refusals) {
    flash_.start(kFlash);
    update();
  }
  const int start = model_.SelStart(), length = model_.SelLength();
  if (!focused || length == 0) {
    if (hasSelectedText()) {
      deselect();
    }
    setCursorPosition(start);
    return;
  }
  const int active = model_.ActiveEnd();
  if (selectionStart() == start && selectionLength() == length && cursorPosition() == active) {
    return;
  }
  if (active == start) {
    setSelection(start + length, -length);
  } else {
    setSelection(start, length);
  }
}

void TextField::Listen(Input& input) {
  connect(this, &QLineEdit::textChanged, &input, [this, &input] {
    if (!input.View().Syncing()) {
      input.View().Apply(model_);
    }
  });
  connect(this, &QLineEdit::cursorPositionChanged, &input, [this, &input](int, int to) {
    if (!input.View().Syncing() && hasFocus()) {
      input.Form().UserSelect(model_, to, to);
      input.After();
    }
  });
}

void TextField::OnPress(Input& input, const QMouseEvent& event, bool again) {
  toolkit::Form& form = input.Form();
  const int at = cursorPositionAt(event.position().toPoint());
  const bool focused = model_.HasFocus();
  const auto interval =
      static_cast<quint64>(QGuiApplication::styleHints()->mouseDoubleClickInterval());
  if (!again) {
    doubled_ = 0;
  }
  if (event.type() == QEvent::MouseButtonDblClick && focused) {
    if (!SelectWord(form, at)) {
      return;
    }
    doubled_ = event.timestamp();
  } else if (focused && doubled_ != 0 && event.timestamp() - doubled_ < interval) {
    anchor_ = -1;
    doubled_ = 0;
    form.UserSelectAll();
  } else if (focused && event.modifiers() & Qt::ShiftModifier) {
    anchor_ = model_.SelStart();
    if (model_.ActiveEnd() == anchor_) {
      anchor_ += model_.SelLength();
    }
    form.UserSelect(model_, anchor_, at);
  } else {
    anchor_ = at;
    if (!focused && model_.Masked()) {
      anchor_ = -1;
    }
    form.UserClick(model_, at);
  }
  input.After();
}

// The word at a place, for a drag to go on from; false where there is none.
bool TextField::SelectWord(toolkit::Form& form, int at) {
  QTextBoundaryFinder words(QTextBoundaryFinder::Word, text());
  words.setPosition(at);
  const auto end = words.toNextBoundary();
  const auto start = words.toPreviousBoundary();
  if (end < 0 || start < 0) {
    return false;
  }
  anchor_ = static_cast<int>(start);
  form.UserSelect(model_, anchor_, static_cast<int>(end));
  return true;
}

void TextField::OnDrag(Input& input, const QMouseEvent& event) {
  const int at = cursorPositionAt(event.position().toPoint());
  if (model_.HasFocus() && anchor_ >= 0 && at != model_.ActiveEnd()) {
    input.Form().UserSelect(model_, anchor_, at);
    input.After();
  }
}

ControlView::Spot TextField::SpotOf(const QContextMenuEvent& event) {
  return {.caret = cursorPositionAt(event.pos())};
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

// A key that was refused lights the frame for a moment. Qt draws no caret where nothing can be
// typed; here keys do act on such a field.
void TextField::paintEvent(QPaintEvent* event) {
  QLineEdit::paintEvent(event);
  QPainter painter(this);
  if (flash_.isActive()) {
    DrawRing(painter, rect(), Alarm(), 3);
  }
  if (isReadOnly() && hasFocus()) {
    const QRect caret = cursorRect();
    painter.fillRect(QRect(caret.center().x(), caret.top(), 1, caret.height()),
                     palette().color(QPalette::Text));
  }
}

// --- Buttons

template <class Base, class Model>
ButtonFor<Base, Model>::ButtonFor(Model& model, QWidget* parent)
    : WidgetFor<Base, Model>(model, parent) {
  this->setFocusPolicy(Qt::TabFocus);
}

template <class Base, class Model>
void ButtonFor<Base, Model>::OnPress(Input& /*input*/, const QMouseEvent& /*event*/,
                                     bool /*again*/) {
  this->setDown(this->model_.Usable());
}

template <class Base, class Model>
void ButtonFor<Base, Model>::OnDrag(Input& /*input*/, const QMouseEvent& event) {
  this->setDown(this->rect().contains(event.position().toPoint()));
}

template <class Base, class Model>
void ButtonFor<Base, Model>::OnRelease(Input& input, const QMouseEvent& event) {
  this->setDown(false);
  ControlView::OnRelease(input, event);
}

template <class Base, class Model>
void ButtonFor<Base, Model>::initStyleOption(QStyleOptionButton* option) const {
  Base::initStyleOption(option);
  if (this->hasFocus()) {
    option->state |= QStyle::State_KeyboardFocusChange;
  }
}

template <class Base, class Model>
void ButtonFor<Base, Model>::SetCaption(const QString& caption) {
  if (this->text() != caption) {
    this->setText(caption);
    // Alt and the letter are the model's, not a shortcut of Qt's.
    this->setShortcut({});
  }
}

Button::Button(toolkit::CommandButton& button, QWidget* parent) : ButtonFor(button, parent) {
  setAutoDefault(false);
}

void Button::Apply() {
  ApplyColours();
  SetCaption(DisplayLines(model_.Caption()));
  if (!model_.Usable()) {
    setDown(false);
  }
}

bool Button::NamesItself() const {
  return std::ranges::any_of(Spoken(model_.Caption()), [](QChar c) { return c.isLetter(); });
}

void Button::Listen(Input& input) {
  connect(this, &QAbstractButton::clicked, &input, [this, &input] {
    input.Form().UserClick(model_);
    input.After();
  });
}

void Button::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionButton option;
  initStyleOption(&option);
  const bool main = model_.Main() && isEnabled();
  option.features.setFlag(QStyleOptionButton::DefaultButton, main);
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
  painter.drawItemText(room, kFlags, palette(), isEnabled(), text(),
                       main ? QPalette::HighlightedText : QPalette::ButtonText);
}

Option::Option(toolkit::OptionButton& option, QWidget* parent) : ButtonFor(option, parent) {
  // Which of a group is on is the model's business.
  setAutoExclusive(false);
  setAutoFillBackground(true);
}

void Option::Apply() {
  ApplyColours();
  SetCaption(Display(model_.Caption()));
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
  setChecked(model_.Value());
  if (!model_.Usable()) {
    setDown(false);
  }
}

void Option::Listen(Input& input) {
  connect(this, &QAbstractButton::toggled, &input, [this, &input](bool on) {
    if (!input.View().Syncing()) {
      if (on) {
        input.Form().UserClick(model_);
      }
      input.View().Apply(model_);
      input.After();
    }
  });
}

// --- Labels

LabelBox::LabelBox(toolkit::Label& label, QWidget* parent) : WidgetFor(label, parent) {
  setTextFormat(Qt::PlainText);
}

void LabelBox::Apply() {
  ApplyColours();
  face_ = model_.Face();
  edge_ = model_.Edge();
  // Nothing is filled that looks the same without, so that a label hides no
  // border which it overlaps.
  const toolkit::Control* frame = model_.Container();
  filled_ = edge_ != toolkit::Border::None || frame == nullptr ||
            frame->BackColor() != model_.BackColor();
  setText(DisplayLines(model_.Caption()));
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
  if (layout_ != nullptr && laid_out_ == text() && room_ == room && zoom_ == Zoom()) {
    return;
  }
  zoom_ = Zoom();
  laid_out_ = text();
  room_ = room;
  QString shown = text();
  shown.replace('\n', QChar::LineSeparator);
  for (int size = face_ == toolkit::Font::Heading ? 15 : 11; size > 8; --size) {
    const QFont face = FaceFont(face_, size);
    layout_ = std::make_unique<QTextLayout>(shown, face, this);
    layout_->setCacheEnabled(true);
    QTextOption wrap;
    wrap.setWrapMode(QTextOption::WordWrap);
    layout_->setTextOption(wrap);
    const QFontMetricsF metrics(face, this);
    line_height_ = metrics.height();
    rise_ = metrics.ascent() - metrics.capHeight() / 2 - line_height_ / 2;
    // Where the font came out smaller than its place, lines break as designed.
    const double part = std::min(1.0, face.pixelSize() / (size * Zoom()));
    const QSize wrapped(static_cast<int>(room.width() * part), room.height());
    whole_ = BreakLines(*layout_, wrapped, line_height_, lines_);
    if (whole_) {
      break;
    }
  }
}

void LabelBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  if (filled_) {
    FillBox(painter, rect(), palette().color(QPalette::Window));
  }
  DrawEdge(painter, rect(), edge_, palette().color(QPalette::Window));
  if (text().isEmpty()) {
    whole_ = true;
    return;
  }
  QRect room = rect();
  if (edge_ != toolkit::Border::None) {
    room.adjust(3, 1, -3, -1);
  }
  LayOut(room.size());
  const auto count = static_cast<qreal>(lines_.size());
  qreal y = room.top();
  if (filled_ || lines_.size() == 1) {
    // Capitals in the middle: names and codes are all of them.
    y += std::max(0.0, std::round((room.height() - count * line_height_) / 2 - rise_));
  }
  painter.setPen(
      palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
  for (const QTextLine& line : lines_) {
    line.draw(&painter, QPointF(room.left(), y - line.y()));
    y += std::round(line_height_);
  }
}

// --- Frames, borders, status bar

void FrameBox::Apply() {
  ApplyColours();
  edge_ = model_.Edge();
  setAutoFillBackground(edge_ == toolkit::Border::None);
  caption_ = Spoken(model_.Caption());
  if (edge_ == toolkit::Border::Raised && shadow_ == nullptr) {
    shadow_ = new ShadowBox(this);
  }
  update();
}

void FrameBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QColor back = palette().color(QPalette::Window);
  if (edge_ != toolkit::Border::None) {
    FillBox(painter, rect(), back);
  }
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

void ShadowBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  FillBox(painter, rect(), QColor(0, 16, 48, 70));
}

ShapeBox::ShapeBox(toolkit::Shape& shape, QWidget* parent) : WidgetFor(shape, parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void ShapeBox::Apply() {
  back_ = ToQt(model_.BackColor());
  update();
}

void ShapeBox::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  DrawEdge(painter, rect(), toolkit::Border::Line, back_);
}

namespace {

constexpr int kPanelMargin = 8;  // pixels

}  // namespace

StatusPanel::StatusPanel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

int StatusPanel::Needed() const {
  return QFontMetrics(font(), this).horizontalAdvance(text()) + 2 * kPanelMargin;
}

void StatusPanel::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QColor line = Line(palette().color(QPalette::Window));
  DrawFrame(painter, rect().adjusted(-2, 0, 2, 2), line);  // of which the upper side shows
  if (x() > 0) {
    DrawFrame(painter, QRect(0, 5, 1, height() - 9), line);
  }
  const QRect room = rect().adjusted(kPanelMargin, 1, -kPanelMargin, 0);
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   QFontMetrics(font(), this).elidedText(text(), Qt::ElideRight, room.width()));
}

StatusBox::StatusBox(toolkit::StatusBar& bar, QWidget* parent) : WidgetFor(bar, parent) {
  setAutoFillBackground(true);
}

void StatusBox::Apply() {
  ApplyColours();
  while (static_cast<int>(panels_.size()) < model_.PanelCount()) {
    panels_.push_back(new StatusPanel(this));
  }
  constexpr int kLeast = 6;  // part of the bar that a panel has at least
  int left = 0;
  for (std::size_t i = 0; i < panels_.size(); ++i) {
    StatusPanel& panel = *panels_[i];
    if (const QString text = Display(model_.Panels(static_cast<int>(i) + 1).Text());
        text != panel.text()) {
      panel.setText(text);
    }
    int room = width() - left;
    if (i + 1 < panels_.size()) {
      room = std::min(std::max(panel.Needed(), width() / kLeast), width() / 2);
    }
    panel.setGeometry(left, 0, room, height());
    left += panel.width();
  }
}

}  // namespace desktop
