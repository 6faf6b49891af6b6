// Printing: the system's dialog, and what it asks for.
#pragma once

#include <QPageLayout>
#include <QPageRanges>
#include <QString>
#include <functional>
#include <string>

#include "platform/toolkit/document.h"

class QWidget;

namespace desktop {

// Asks in the system's dialog over `parent` and prints. Returns what went wrong, in Italian; ""
// where nothing did or the user has cancelled. `busy` is called around long work.
std::u16string PrintDocument(QWidget* parent, const toolkit::Document& document,
                             const std::function<void(bool)>& busy);

// Writes the pages of these numbers, all where there are none, as a PDF file. Returns as above;
// after a failure a file of that name is as it was.
QString WritePdf(const QString& file, const QPageLayout& paper, const toolkit::Document& document,
                 const QPageRanges& pages = {});

}  // namespace desktop
