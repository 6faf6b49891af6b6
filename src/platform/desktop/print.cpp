#include "platform/desktop/print.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLineEdit>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintDialog>
#include <QPrinter>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTranslator>

#include "platform/desktop/look.h"
#include "platform/desktop/pages.h"

namespace desktop {

namespace {

// Qt's own dialogs in the user's language, while there is one.
class Italian {
 public:
  Italian() {
    if (texts_.load("qtbase_it", QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
      QApplication::installTranslator(&texts_);
    }
  }
  ~Italian() { QApplication::removeTranslator(&texts_); }
  Italian(const Italian&) = delete;
  Italian& operator=(const Italian&) = delete;

 private:
  QTranslator texts_;
};

const QMarginsF kMargins(18, 15, 15, 12);  // millimetres

// The paper that was chosen, with our margins where its own are narrower: a printer's are
// often as narrow as it can.
QPageLayout WithMargins(QPageLayout layout) {
  layout.setUnits(QPageLayout::Millimeter);
  layout.setMargins(layout.margins() | kMargins);
  return layout;
}

// Sets the dialog up in what Qt has no functions for: its own widgets.
void Prepare(QPrintDialog& dialog, const toolkit::Document& document) {
  dialog.setFont(BoxFont());
  dialog.setWindowTitle("Stampa");
  if (auto* file = dialog.findChild<QLineEdit*>("filename")) {
    // Characters that could give trouble in a file's name.
    static const QRegularExpression strange("[^\\w \\-]",
                                            QRegularExpression::UseUnicodePropertiesOption);
    QDir folder(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    if (!folder.exists()) {
      folder = QDir::home();
    }
    file->setText(folder.filePath(Display(document.name).replace(strange, "_") + ".pdf"));
  }
  // Qt leaves the order of the pages to the program; printers can reverse it on their own.
  if (auto* reverse = dialog.findChild<QAbstractButton*>("reverse")) {
    reverse->hide();
  }
}

// Whether the dialog leaves it to the print server to pick pages.
bool ServerPicks(const QPrintDialog& dialog) {
  const auto* pages = dialog.findChild<QAbstractButton*>("pagesRadioButton");
  return pages != nullptr && pages->isChecked();
}

// Draws the pages of these numbers; all, where there are none. Returns `failure` where the
// device can't take them, "" when it has.
QString Draw(QPagedPaintDevice& device, const toolkit::Document& document, const QPageRanges& pages,
             const QString& failure) {
  const int count = CountPages(device, document);
  if (!pages.isEmpty() && pages.firstPage() > count) {
    return QString("Le pagine richieste non ci sono: in tutto sono %1.").arg(count);
  }
  QPainter painter;
  const bool drawn = painter.begin(&device) &&
                     DrawPages(device, painter, document, count,
                               QDateTime::currentDateTime().toString("dd/MM/yyyy HH:mm"),
                               [&](int page) { return pages.isEmpty() || pages.contains(page); }) &&
                     painter.end();
  if (!drawn) {
    return failure;
  }
  return {};
}

}  // namespace

QString WritePdf(const QString& file, const QPageLayout& paper, const toolkit::Document& document,
                 const QPageRanges& pages) {
  QString refused = "Impossibile scrivere il file " + file +
                    ". Controllare che la cartella esista, che ci si possa scrivere e che il "
                    "disco non sia pieno, poi ripetere.";
  // What isn't a plain file, such as a device, would be replaced by one.
  const QFileInfo there(file);
  QSaveFile target(file);
  if ((there.exists() && !there.isFile()) || !target.open(QIODevice::WriteOnly)) {
    return refused;
  }
  QPdfWriter pdf(&target);
  pdf.setPageLayout(paper);
  pdf.setTitle(Display(document.title));
  pdf.setCreator("anagparc");
  QString failure = Draw(pdf, document, pages, refused);
  if (failure.isEmpty() && !target.commit()) {
    return refused;
  }
  return failure;
}

std::u16string PrintDocument(QWidget* parent, const toolkit::Document& document,
                             const std::function<void(bool)>& busy) {
  const Italian language;
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, kMargins,
                                    QPageLayout::Millimeter));
  printer.setDocName(Display(document.title));
  printer.setCreator("anagparc");
  QPrintDialog dialog(&printer, parent);
  Prepare(dialog, document);
  if (dialog.exec() != QDialog::Accepted) {
    return u"";
  }
  const QPageLayout paper = WithMargins(printer.pageLayout());
  printer.setPageLayout(paper);
  QPageRanges pages;
  if (printer.printRange() == QPrinter::PageRange && !ServerPicks(dialog)) {
    pages = printer.pageRanges();
  }
  busy(true);
  QString failure;
  if (printer.outputFormat() == QPrinter::PdfFormat) {
    failure = WritePdf(printer.outputFileName(), paper, document, pages);
  } else {
    const QString refused =
        "La stampante " + printer.printerName() +
        " non accetta la stampa. Controllare che sia accesa e collegata, poi ripetere.";
    failure = Draw(printer, document, pages, refused);
    if (failure.isEmpty() && printer.printerState() == QPrinter::Error) {
      failure = refused;
    }
  }
  busy(false);
  return failure.toStdU16String();
}

}  // namespace desktop
