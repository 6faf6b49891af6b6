#include "platform/desktop/accessible.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <map>

#include "platform/desktop/listview.h"
#include "platform/desktop/widgets.h"

namespace desktop {

namespace {

class Row : public QAccessibleInterface, public QAccessibleActionInterface {
 public:
  Row(ListView* view, int row) : view_(view), row_(row) {}

  bool isValid() const override { return view_ && row_ < view_->Model().ListCount(); }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override { return isValid() ? view_->window()->windowHandle() : nullptr; }
  QAccessibleInterface* parent() const override {
    return QAccessible::queryAccessibleInterface(view_);
  }
  QAccessibleInterface* child(int) const override { return nullptr; }
  QAccessibleInterface* childAt(int, int) const override { return nullptr; }
  int childCount() const override { return 0; }
  int indexOfChild(const QAccessibleInterface*) const override { return -1; }

  QString text(QAccessible::Text kind) const override {
    return isValid() && kind == QAccessible::Name ? view_->RowText(row_).trimmed() : QString();
  }
  void setText(QAccessible::Text, const QString&) override {}
  QRect rect() const override {
    const QRect place = isValid() ? view_->RowRect(row_) : QRect();
    return isValid() ? place.translated(view_->viewport()->mapToGlobal(QPoint())) : place;
  }
  QAccessible::Role role() const override { return QAccessible::ListItem; }
  QAccessible::State state() const override {
    QAccessible::State state;
    if (!isValid()) {
      state.invalid = true;
      return state;
    }
    state.selectable = state.focusable = true;
    state.disabled = !view_->isEnabled();
    state.invisible = !view_->isVisible();
    state.selected = row_ == view_->Model().ListIndex();
    state.focused = state.selected && view_->hasFocus();
    return state;
  }

  void* interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                : nullptr;
  }
  QStringList actionNames() const override { return {pressAction()}; }
  void doAction(const QString& name) override {
    if (name == pressAction() && isValid() && view_->picked) {
      view_->picked(row_);
    }
  }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }

  int Number() const { return row_; }

 private:
  QPointer<ListView> view_;
  int row_;
};

class List : public QAccessibleWidget {
 public:
  explicit List(ListView* view) : QAccessibleWidget(view, QAccessible::List), view_(view) {}
  ~List() override { Forget(); }

  int childCount() const override { return view_->RowsInView(); }
  QAccessibleInterface* child(int index) const override {
    return index >= 0 && index < childCount() ? ForRow(view_->TopRow() + index) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface* child) const override {
    const auto* row = dynamic_cast<const Row*>(child);
    return row != nullptr ? row->Number() - view_->TopRow() : -1;
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    const int row = view_->RowAt(view_->viewport()->mapFromGlobal(QPoint(x, y)));
    return row >= 0 ? ForRow(row) : nullptr;
  }
  QAccessibleInterface* focusChild() const override {
    const int row = view_->Model().ListIndex();
    return view_->hasFocus() && row >= 0 ? ForRow(row) : QAccessibleWidget::focusChild();
  }
  QString text(QAccessible::Text kind) const override {
    const int row = view_->Model().ListIndex();
    if (kind == QAccessible::Value || kind == QAccessible::Description) {
      return row >= 0 ? view_->RowText(row).trimmed() : QString();
    }
    return QAccessibleWidget::text(kind);
  }

 private:
  // Rows are made as they are asked for; those out of view are let go before
  // they add up.
  QAccessibleInterface* ForRow(int row) const {
    if (const auto known = rows_.find(row); known != rows_.end()) {
      return QAccessible::accessibleInterface(known->second);
    }
    if (rows_.size() >= 500) {
      Forget();
    }
    auto* made = new Row(view_, row);
    rows_[row] = QAccessible::registerAccessibleInterface(made);
    return made;
  }
  void Forget() const {
    for (const auto& [row, id] : rows_) {
      QAccessible::deleteAccessibleInterface(id);
    }
    rows_.clear();
  }

  ListView* view_;
  mutable std::map<int, QAccessible::Id> rows_;
};

QAccessibleInterface* Make(const QString&, QObject* object) {
  if (auto* view = dynamic_cast<ListView*>(object)) {
    return new List(view);
  }
  if (auto* frame = dynamic_cast<FrameBox*>(object)) {
    return new QAccessibleWidget(frame, QAccessible::Grouping);
  }
  return nullptr;
}

}  // namespace

void TeachAccessibility() { QAccessible::installFactory(Make); }

}  // namespace desktop
