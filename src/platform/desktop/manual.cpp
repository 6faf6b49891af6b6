#include "platform/desktop/manual.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextTable>
#include <QVBoxLayout>
#include <algorithm>

#include "platform/desktop/look.h"

namespace desktop {

namespace {

// As links in Markdown name a heading.
QString LinkName(const QString& heading) {
  QString name;
  for (const QChar c : heading.toLower()) {
    if (c.isLetterOrNumber() || c == '-' || c == '_') {
      name += c;
    } else if (c == ' ') {
      name += '-';
    }
  }
  return name;
}

// Gives headings the names that links have for them, and tables lines and room.
void SetUp(QTextDocument& page) {
  for (QTextBlock block = page.begin(); block.isValid(); block = block.next()) {
    if (block.blockFormat().headingLevel() > 0) {
      QTextCursor heading(block);
      QTextBlockFormat room;
      room.setTopMargin(12);
      heading.mergeBlockFormat(room);
      heading.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
      QTextCharFormat named;
      named.setAnchor(true);
      named.setAnchorNames({LinkName(block.text())});
      heading.mergeCharFormat(named);
    } else if (QTextCursor(block).currentTable() == nullptr) {
      QTextBlockFormat room;
      room.setTopMargin(6);
      QTextCursor(block).mergeBlockFormat(room);
    }
  }
  for (QTextFrame* frame : page.rootFrame()->childFrames()) {
    if (auto* table = qobject_cast<QTextTable*>(frame)) {
      QTextTableFormat format = table->format();
      format.setBorder(1);
      format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
      format.setBorderBrush(QColor(170, 180, 195));
      format.setBorderCollapse(true);
      format.setCellPadding(4);
      format.setCellSpacing(0);
      format.setTopMargin(6);
      format.setBottomMargin(6);
      table->setFormat(format);
    }
  }
}

}  // namespace

QString FindManual(QString& expected) {
  const QDir programs(QCoreApplication::applicationDirPath());
  for (const char* place : {"manuale/manuale.md", "../share/anagparc/manuale/manuale.md"}) {
    expected = QDir::cleanPath(programs.absoluteFilePath(place));
    if (QFileInfo(expected).isFile()) {
      return expected;
    }
  }
  return {};
}

// Markdown comes in as Qt writes it in HTML, with what Qt's reader leaves out: changed afterwards,
// the page would be loaded again at each link. A link to a picture shows it alone; in the text
// none is wider than the page.
QVariant ManualPages::loadResource(int type, const QUrl& name) {
  if (type == QTextDocument::HtmlResource && name.path().endsWith(".png")) {
    return QString("<img src=\"%1\">").arg(name.toString(QUrl::FullyEncoded));
  }
  QVariant found = QTextBrowser::loadResource(type, name);
  if (type == QTextDocument::HtmlResource) {
    QTextDocument page;
    page.setDefaultFont(font());
    page.setMarkdown(QString::fromUtf8(found.toByteArray()));
    SetUp(page);
    return page.toHtml();
  }
  if (type == QTextDocument::ImageResource) {
    QImage image = QImage::fromData(found.toByteArray());
    if (const int most = viewport()->width() - 40; image.width() > most && most > 0) {
      image = image.scaledToWidth(most, Qt::SmoothTransformation);
    }
    return image;
  }
  return found;
}

Manual::Manual(QWidget& form)
    : form_(form), sought_(new QLineEdit(this)), pages_(new ManualPages(this)) {
  setWindowTitle("Manuale - Percettori 770/2015");
  setAttribute(Qt::WA_QuitOnClose, false);
  auto* label = new QLabel("&Cerca:", this);
  label->setBuddy(sought_);
  auto* next = new QPushButton("&Trova", this);
  auto* back = new QPushButton("&Indietro", this);
  auto* above = new QHBoxLayout;
  for (QWidget* widget : {static_cast<QWidget*>(label), static_cast<QWidget*>(sought_),
                          static_cast<QWidget*>(next), static_cast<QWidget*>(back)}) {
    above->addWidget(widget);
  }
  auto* all = new QVBoxLayout(this);
  all->addLayout(above);
  all->addWidget(pages_);
  next->setToolTip("Invio, F3; Maiusc+F3 all'indietro");
  back->setToolTip("Alt+Freccia sinistra");
  back->setEnabled(false);
  connect(sought_, &QLineEdit::returnPressed, this, [this] { Find(false); });
  connect(next, &QPushButton::clicked, this, [this] { Find(false); });
  connect(back, &QPushButton::clicked, pages_, &QTextBrowser::backward);
  connect(pages_, &QTextBrowser::backwardAvailable, back, &QWidget::setEnabled);
}

// Beside the form where the screen has room for both.
void Manual::Place() {
  const QRect room = form_.screen()->availableGeometry();
  const QRect form = form_.frameGeometry();
  const int wide = std::min(room.width(), Pixels(12000));
  const int high = room.height() * 9 / 10;
  int left = room.right() - wide;
  if (form.right() + wide > room.right() && form.left() - wide >= room.left()) {
    left = form.left() - wide;
  } else if (form.right() + wide <= room.right()) {
    left = form.right() + 1;
  }
  setGeometry(left, room.top() + (room.height() - high) / 2, wide, high);
}

void Manual::ShowChapter(const QString& file, const QString& chapter) {
  const bool larger = font() != BoxFont();
  setFont(BoxFont());
  if (!isVisible()) {
    Place();
    show();
  }
  setWindowState(windowState() & ~Qt::WindowMinimized);
  raise();
  activateWindow();
  QUrl place = QUrl::fromLocalFile(file);
  place.setFragment(chapter);
  if (larger && !pages_->source().isEmpty()) {
    pages_->reload();
  }
  pages_->setSource(place, QTextDocument::HtmlResource);
  // Laid out to its end, so that a chapter near it can be scrolled to the top.
  [[maybe_unused]] const QSizeF whole = pages_->document()->size();
  pages_->scrollToAnchor(chapter);
  pages_->setFocus();
}

void Manual::Find(bool backwards) {
  const QString text = sought_->text();
  QTextDocument::FindFlags how;
  auto other = QTextCursor::Start;
  if (backwards) {
    how = QTextDocument::FindBackward;
    other = QTextCursor::End;
  }
  bool found = text.isEmpty() || pages_->find(text, how);
  if (!found) {  // from the other end
    pages_->moveCursor(other);
    found = pages_->find(text, how);
  }
  QPalette palette = QWidget::palette();
  if (!found) {
    palette.setColor(QPalette::Base, QColor(255, 225, 225));
  }
  sought_->setPalette(palette);
}

void Manual::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    close();
  } else if (event->key() == Qt::Key_F3) {
    Find(event->modifiers() & Qt::ShiftModifier);
  } else if (event->matches(QKeySequence::Find)) {
    sought_->setFocus();
    sought_->selectAll();
  } else {
    QWidget::keyPressEvent(event);
  }
}

void Manual::closeEvent(QCloseEvent* event) {
  QWidget::closeEvent(event);
  form_.activateWindow();
}

}  // namespace desktop
