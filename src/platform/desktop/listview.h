// A list box on the screen. It keeps no rows: those in view are read from the
// model as they are painted, so a million rows cost what ten do.
#pragma once

#include <QAbstractScrollArea>
#include <functional>
#include <optional>

#include "platform/desktop/widgets.h"
#include "platform/toolkit/control.h"

namespace desktop {

class ListView : public WidgetFor<QAbstractScrollArea, toolkit::ListBox> {
 public:
  ListView(toolkit::ListBox& list, QWidget* parent);
  void Apply() override;
  void Listen(Input& input) override;
  void OnPress(Input& input, const QMouseEvent& event, bool again) override;
  void OnRelease(Input& /*input*/, const QMouseEvent& /*event*/) override {}
  Spot SpotOf(const QContextMenuEvent& event) override;
  QRect PlaceOf(int row) override { return RowRect(row).translated(viewport()->pos()); }

  const toolkit::ListBox& Model() const { return model_; }
  int TopRow() const;
  // Only whole rows show; the strip that they leave at the bottom stays empty.
  int RowsInView() const;
  // Row under a place of the viewport, -1 below the last one in view.
  int RowAt(const QPoint& place) const;
  QRect RowRect(int row) const;  // in the viewport
  QString RowText(int row) const;

  // Assistive technology picks a row, as a click would.
  std::function<void(int row)> picked;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;

 private:
  void TellRow();
  void SetRanges();
  int WholeRows() const;

  int row_height_ = 1;
  std::uint64_t revision_ = 0;
  int selected_ = -1;
  int rows_ = 0;
  int pressed_row_ = -1;
};

}  // namespace desktop
