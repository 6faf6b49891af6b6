#include "platform/desktop/pages.h"

#include <QFontMetricsF>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>
#include <array>
#include <vector>

#include "platform/desktop/look.h"

namespace desktop {

namespace {

using toolkit::Document;

enum Face { kTitle, kHeading, kText, kCode, kSmall, kFaces };

const QColor kInk = Qt::black, kFaint(80, 80, 80), kRule(190, 190, 190);

QFont PaperFont(Face face) {
  using toolkit::Font;
  constexpr std::array<std::pair<Font, double>, kFaces> kSizes = {{{Font::Bold, 15},
                                                                   {Font::Bold, 9.5},
                                                                   {Font::Normal, 9.5},
                                                                   {Font::Fixed, 9.5},
                                                                   {Font::Normal, 8}}};
  QFont font = FaceFont(kSizes[face].first);
  font.setPointSizeF(kSizes[face].second);
  return font;
}

Face TextFace(bool code) { return code ? kCode : kText; }

// A text in its place across the page.
struct Piece {
  std::u16string_view text;
  Face face;
  QColor color;
  double left, width;  // millimetres from the left margin
  bool right = false;
};

// Goes once through the document, from the top of the first page to the end of the last. It
// draws where it has a painter, and otherwise only counts, so that both agree.
class Passage {
 public:
  Passage(QPagedPaintDevice& device, const Document& document)
      : device_(device), document_(document), mm_(device.logicalDpiX() / 25.4) {
    for (int i = 0; i < kFaces; ++i) {
      fonts_.emplace_back(PaperFont(static_cast<Face>(i)), &device);
      metrics_.emplace_back(fonts_.back(), &device);
      for (char16_t c = 0; c < kLatin; ++c) {
        latin_[static_cast<std::size_t>(i)][c] = metrics_.back().horizontalAdvance(QChar(c));
      }
    }
    const QRectF paper = device.pageLayout().paintRectPixels(device.logicalDpiX());
    width_ = paper.width() / mm_;
    bottom_ = paper.height() / mm_ - kFooter;
  }

  int Count() {
    Go();
    return page_;
  }

  bool Draw(QPainter& painter, int count, const QString& printed,
            const std::function<bool(int)>& wanted) {
    painter_ = &painter;
    count_ = count;
    printed_ = printed;
    wanted_ = wanted;
    Go();
    return !failed_;
  }

 private:
  static constexpr char16_t kLatin = 0x180;         // characters of Latin languages
  static constexpr double kFooter = 9, kGap = 2.2;  // millimetres

  void Go() {
    NextPage();
    const double all = width_;
    Row({{document_.program, kSmall, kFaint, 0, all}}, 1);
    Row({{document_.title, kTitle, kInk, 0, all}}, 1);
    for (const std::u16string& line : document_.lines) {
      Row({{line, kSmall, kFaint, 0, all}});
    }
    y_ += kGap;
    for (const toolkit::Block& block : document_.blocks) {
      DrawBlock(block);
    }
    if (!document_.columns.empty()) {
      DrawTable();
    }
    if (drawing_) {
      Footer();
    }
  }

  void DrawBlock(const toolkit::Block& block) {
    constexpr double kLabel = 64, kValue = 16;
    // A title stays with its first lines.
    Room(4 * Height(kText));
    y_ += 2 * kGap;
    Row({{block.title, kHeading, kInk, 0, width_}}, 0.8);
    Rule();
    for (const toolkit::Item& item : block.items) {
      std::vector<Piece> pieces = {
          {item.label, kText, kFaint, 0, kLabel - kGap},
          {item.value, TextFace(item.code), kInk, kLabel, width_ - kLabel}};
      if (!item.description.empty()) {
        pieces.back().width = kValue;
        pieces.push_back(
            {item.description, kText, kInk, kLabel + kValue, width_ - kLabel - kValue});
      }
      Row(pieces, 0.7, 0.7);
      Rule();
    }
  }

  void DrawTable() {
    const std::size_t columns = document_.columns.size();
    double left = 0, rest = width_;
    for (const toolkit::Column& column : document_.columns) {
      rest -= Width(column);
    }
    for (const toolkit::Column& column : document_.columns) {
      double width = rest;
      if (column.characters > 0) {
        width = Width(column);
      }
      heads_.push_back({column.title, kHeading, kInk, left, width - kGap, column.right});
      left += width;
    }
    Heads();
    std::vector<Piece> pieces = heads_;
    for (std::size_t i = 0; i + columns <= document_.cells.size(); i += columns) {
      for (std::size_t n = 0; n < columns; ++n) {
        pieces[n].text = document_.cells[i + n];
        pieces[n].face = TextFace(document_.columns[n].code);
      }
      Row(pieces, 0.45, 0.45);
      Rule();
    }
    heads_.clear();  // none over the closing alone
    y_ += kGap;
    Row({{document_.closing, kHeading, kInk, 0, width_}});
  }

  double Width(const toolkit::Column& column) {
    if (column.characters == 0) {
      return 0;
    }
    return column.characters * metrics_[kCode].horizontalAdvance('0') / mm_ + kGap;
  }

  void Heads() {
    if (!heads_.empty()) {
      Row(heads_, 0.8);
      Rule();
    }
  }

  double Height(Face face) { return metrics_[face].lineSpacing() / mm_; }

  // Width of a text on the device. The font would shape it for that, which for a long list
  // takes half of all the time; characters side by side are as wide or, unkerned, a little wider.
  double Length(Face face, const QString& text) const {
    double length = 0;
    for (const QChar c : text) {
      if (c.unicode() >= kLatin) {
        return metrics_[face].horizontalAdvance(text);
      }
      length += latin_[face][c.unicode()];
    }
    return length;
  }

  // Lines of a text that fit into the width; nearly always it is one.
  QStringList Lines(const Piece& piece) {
    const QString text = Display(piece.text).simplified();
    if (Length(piece.face, text) <= piece.width * mm_) {
      return {text};
    }
    QTextLayout layout(text, fonts_[piece.face], &device_);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList lines;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
      line.setLineWidth(piece.width * mm_);
      lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
    }
    layout.endLayout();
    return lines;
  }

  // One or more lines of text side by side, not divided between pages if they take up to
  // half of one.
  void Row(const std::vector<Piece>& pieces, double below = 0, double above = 0) {
    std::vector<QStringList> lines;
    qsizetype most = 0;
    double height = 0, ascent = 0;
    for (const Piece& piece : pieces) {
      lines.push_back(Lines(piece));
      most = std::max(most, lines.back().size());
      height = std::max(height, Height(piece.face));
      ascent = std::max(ascent, metrics_[piece.face].ascent() / mm_);
    }
    Room(std::min(static_cast<double>(most) * height + below + above, bottom_ / 2));
    y_ += above;
    for (qsizetype n = 0; n < most; ++n) {
      Room(height);
      for (std::size_t i = 0; drawing_ && i < pieces.size(); ++i) {
        if (n < lines[i].size()) {
          Write(pieces[i], lines[i][n], y_ + ascent);
        }
      }
      y_ += height;
    }
    y_ += below;
  }

  void Write(const Piece& piece, const QString& text, double baseline) {
    painter_->setFont(fonts_[piece.face]);
    painter_->setPen(piece.color);
    double x = piece.left * mm_;
    if (piece.right) {
      x += piece.width * mm_ - Length(piece.face, text);
    }
    painter_->drawText(QPointF(x, baseline * mm_), text);
  }

  void Rule() { rules_.append(QLineF(0, y_ * mm_, width_ * mm_, y_ * mm_)); }

  // Begins a page unless so much is left of this one.
  void Room(double height) {
    if (y_ + height > bottom_ && y_ > top_) {
      NextPage();
      Heads();
      top_ = y_;
    }
  }

  void NextPage() {
    if (drawing_) {
      Footer();
    }
    ++page_;
    y_ = top_ = 0;
    rules_.clear();
    drawing_ = painter_ != nullptr && !failed_ && wanted_(page_);
    if (drawing_ && std::exchange(begun_, true)) {
      failed_ = !device_.newPage();
      drawing_ = !failed_;
    }
    if (page_ > 1) {
      Row({{document_.title, kSmall, kFaint, 0, width_}}, kGap);
      top_ = y_;
    }
  }

  void Footer() {
    const double left = width_ / 2, baseline = bottom_ + kFooter - 1;
    y_ = bottom_ + kFooter - 1 - Height(kSmall) - 0.5;
    Rule();
    painter_->setPen(QPen(kRule, 0.15 * mm_));
    painter_->drawLines(rules_);
    Write({{}, kSmall, kFaint, 0, left}, "Stampato il " + printed_, baseline);
    Write({{}, kSmall, kFaint, left, left, true}, QString("Pagina %1 di %2").arg(page_).arg(count_),
          baseline);
  }

  QPagedPaintDevice& device_;
  const Document& document_;
  const double mm_;  // pixels of the device
  std::vector<QFont> fonts_;
  std::vector<QFontMetricsF> metrics_;
  std::array<std::array<double, kLatin>, kFaces> latin_;  // widths, pixels
  double width_, bottom_;                                 // millimetres, as all places below
  double y_ = 0, top_ = 0;
  int page_ = 0;
  std::vector<Piece> heads_;  // of the table, on each of its pages

  QList<QLineF> rules_;  // of the page, drawn at its end

  QPainter* painter_ = nullptr;
  int count_ = 0;
  QString printed_;
  std::function<bool(int)> wanted_;
  bool drawing_ = false, begun_ = false, failed_ = false;
};

}  // namespace

int CountPages(QPagedPaintDevice& device, const Document& document) {
  return Passage(device, document).Count();
}

bool DrawPages(QPagedPaintDevice& device, QPainter& painter, const Document& document, int count,
               const QString& printed, const std::function<bool(int)>& wanted) {
  return Passage(device, document).Draw(painter, count, printed, wanted);
}

}  // namespace desktop
