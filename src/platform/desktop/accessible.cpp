#include "platform/desktop/accessible.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <map>
#include <utility>

#include "platform/desktop/listview.h"
#include "platform/desktop/widgets.h"

namespace desktop {

namespace {

class Row : public QAccessibleInterface, public QAccessibleActionInterface {
 public:
  Row(ListView* view, int row) : view_(view), row_(row) {}

  bool isValid() const override { return view_ && row_ < view_->Model().ListCount(); }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override {
    if (!isValid()) {
      return nullptr;
    }
    return view_->window()->windowHandle();
  }
  QAccessibleInterface* parent() const override {
    return QAccessible::queryAccessibleInterface(view_);
  }
  QAccessibleInterface* child(int) const override { return nullptr; }
  QAccessibleInterface* childAt(int, int) const override { return nullptr; }
  int childCount() const override { return 0; }
  int indexOfChild(const QAccessibleInterface*) const override { return -1; }

  QString text(QAccessible::Text kind) const override {
    if (!isValid() || kind != QAccessible::Name) {
      return {};
    }
    return view_->RowText(row_).trimmed();
  }
  void setText(QAccessible::Text, const QString&) override {}
  QRect rect() const override {
    if (!isValid()) {
      return {};
    }
    return view_->RowRect(row_).translated(view_->viewport()->mapToGlobal(QPoint()));
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
    state.offscreen = !view_->RowRect(row_).intersects(view_->viewport()->rect());
    state.selected = row_ == view_->Model().ListIndex();
    state.focused = state.selected && view_->hasFocus();
    return state;
  }

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type != QAccessible::ActionInterface) {
      return nullptr;
    }
    return static_cast<QAccessibleActionInterface*>(this);
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

  int childCount() const override { return view_->Model().ListCount(); }
  QAccessibleInterface* child(int index) const override { return ForRow(index); }
  int indexOfChild(const QAccessibleInterface* child) const override {
    if (const auto* row = dynamic_cast<const Row*>(child)) {
      return row->Number();
    }
    return -1;
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    return ForRow(view_->RowAt(view_->viewport()->mapFromGlobal(QPoint(x, y))));
  }
  QAccessibleInterface* focusChild() const override {
    const int row = view_->Model().ListIndex();
    if (row < 0 || !view_->hasFocus()) {
      return QAccessibleWidget::focusChild();
    }
    return ForRow(row);
  }
  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Value || kind == QAccessible::Description) {
      return view_->RowText(view_->Model().ListIndex()).trimmed();
    }
    return QAccessibleWidget::text(kind);
  }

 private:
  // Null where there is no such row. The objects are made when they are asked for, and removed
  // before they become too many. Other rows get new ones: a client keeps the names that it has
  // read.
  QAccessibleInterface* ForRow(int row) const {
    if (row < 0 || row >= childCount()) {
      return nullptr;
    }
    const std::uint64_t revision = view_->Model().Revision();
    if (std::exchange(revision_, revision) != revision || rows_.size() >= 10'000) {
      Forget();
    }
    if (const auto known = rows_.find(row); known != rows_.end()) {
      return QAccessible::accessibleInterface(known->second);
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
  mutable std::uint64_t revision_ = 0;
};

// One of several buttons of which one is on. Qt would call it a check box, since the model, not Qt,
// switches the others off.
class Choice : public QAccessibleWidget {
 public:
  explicit Choice(Option* option)
      : QAccessibleWidget(option, QAccessible::RadioButton), option_(option) {}

  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) {
      return option_->text().remove('&');
    }
    return QAccessibleWidget::text(kind);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.checkable = true;
    state.checked = option_->isChecked();
    return state;
  }
  QStringList actionNames() const override {
    QStringList names = QAccessibleWidget::actionNames();
    if (option_->isEnabled()) {
      names.prepend(pressAction());
    }
    return names;
  }
  void doAction(const QString& name) override {
    if (name == pressAction()) {
      option_->click();
    } else {
      QAccessibleWidget::doAction(name);
    }
  }

 private:
  Option* option_;
};

// A text that takes no input.
class Words : public QAccessibleWidget {
 public:
  explicit Words(QLabel* label)
      : QAccessibleWidget(label, QAccessible::StaticText), label_(label) {}
  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) {
      return label_->text().simplified();
    }
    return QAccessibleWidget::text(kind);
  }

 private:
  QLabel* label_;
};

QAccessibleInterface* Make(const QString&, QObject* object) {
  if (object->isWidgetType() && object->metaObject() == &QWidget::staticMetaObject &&
      static_cast<QWidget*>(object)->isWindow()) {
    return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Window);
  }
  if (auto* view = dynamic_cast<ListView*>(object)) {
    return new List(view);
  }
  if (auto* frame = dynamic_cast<FrameBox*>(object)) {
    return new QAccessibleWidget(frame, QAccessible::Grouping);
  }
  if (auto* option = dynamic_cast<Option*>(object)) {
    return new Choice(option);
  }
  if (auto* label = dynamic_cast<LabelBox*>(object)) {
    return new Words(label);
  }
  if (auto* bar = dynamic_cast<StatusBox*>(object)) {
    return new QAccessibleWidget(bar, QAccessible::StatusBar);
  }
  return nullptr;
}

}  // namespace

void TeachAccessibility() { QAccessible::installFactory(Make); }

}  // namespace desktop
