// A document on pages.
#pragma once

#include <QString>
#include <functional>

#include "platform/toolkit/document.h"

class QPagedPaintDevice;
class QPainter;

namespace desktop {

// How many pages the document takes on the device's paper.
int CountPages(QPagedPaintDevice& device, const toolkit::Document& document);

// Draws those of its pages that are `wanted`, counted from 1, each with its number of `count`
// and with `printed`, the time of the printing. False when the device takes no further page.
bool DrawPages(QPagedPaintDevice& device, QPainter& painter, const toolkit::Document& document,
               int count, const QString& printed, const std::function<bool(int)>& wanted);

}  // namespace desktop
