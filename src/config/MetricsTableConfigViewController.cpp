#include "config/MetricsTableConfigViewController.h"

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "document/LoggedMetrics.h"
#include "metrics/BoatMetric.h"
#include "metrics/MetricKeyList.h"
#include "metrics/MetricPresentation.h"
#include "presentation/MetricsTableViewController.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {
QListWidgetItem* metricItem(const QString& key) {
    auto* item = new QListWidgetItem(MetricPresentation(BoatMetric(key.toStdString())).title());
    item->setData(Qt::UserRole, key);
    item->setToolTip(key);
    return item;
}

QList<int> selectedRows(const QListWidget* list) {
    QList<int> rows;
    for (const QListWidgetItem* item : list->selectedItems())
        rows.append(list->row(item));
    std::sort(rows.begin(), rows.end());
    return rows;
}
} // namespace

MetricsTableConfigViewController::MetricsTableConfigViewController(MetricsTableViewController* table,
                                                                   QWidget* parent)
    : QWidget(parent, Qt::Tool), table_(table), rows_(new QListWidget), available_(new QListWidget),
      boats_(new QListWidget) {
    setObjectName("MetricsTableConfig");
    setWindowTitle(tr("Table Rows and Boats"));
    setAttribute(Qt::WA_DeleteOnClose);
    rows_->setObjectName("rowsList");
    available_->setObjectName("availableList");
    boats_->setObjectName("boatsList");
    for (QListWidget* list : {rows_, available_}) {
        list->setSelectionMode(QAbstractItemView::ExtendedSelection);
        list->installEventFilter(this);
    }
    rows_->setDragDropMode(QAbstractItemView::InternalMove);
    connect(rows_->model(), &QAbstractItemModel::rowsMoved, this, [this] { apply(); });
    connect(available_, &QListWidget::itemDoubleClicked, this, [this] { addSelected(); });
    connect(boats_, &QListWidget::itemChanged, this, [this] { apply(); });

    auto* filter = new QLineEdit;
    filter->setPlaceholderText(tr("Filter"));
    filter->setClearButtonEnabled(true);
    connect(filter, &QLineEdit::textChanged, this, [this](const QString& text) {
        for (int i = 0; i < available_->count(); ++i) {
            QListWidgetItem* item = available_->item(i);
            item->setHidden(!text.isEmpty() && !item->text().contains(text, Qt::CaseInsensitive) &&
                            !item->data(Qt::UserRole).toString().contains(text, Qt::CaseInsensitive));
        }
    });

    auto button = [this](const QString& text, const QString& tip, auto action) {
        auto* b = new QToolButton;
        b->setText(text);
        b->setToolTip(tip);
        connect(b, &QToolButton::clicked, this, action);
        return b;
    };
    auto* rowsColumn = new QVBoxLayout;
    rowsColumn->addWidget(new QLabel(tr("Rows")));
    rowsColumn->addWidget(rows_);
    auto* rowButtons = new QHBoxLayout;
    rowButtons->addWidget(button(QStringLiteral("↑"), tr("Move up (Alt+Up)"), [this] { moveSelected(-1); }));
    rowButtons->addWidget(
        button(QStringLiteral("↓"), tr("Move down (Alt+Down)"), [this] { moveSelected(1); }));
    rowButtons->addStretch();
    rowButtons->addWidget(
        button(tr("Remove"), tr("Remove the selected rows (Delete)"), [this] { removeSelected(); }));
    rowsColumn->addLayout(rowButtons);

    auto* availableColumn = new QVBoxLayout;
    availableColumn->addWidget(new QLabel(tr("Available")));
    availableColumn->addWidget(filter);
    availableColumn->addWidget(available_);
    auto* add = new QPushButton(tr("Add"));
    add->setObjectName("addRows");
    connect(add, &QPushButton::clicked, this, [this] { addSelected(); });
    availableColumn->addWidget(add);

    auto* boatsColumn = new QVBoxLayout;
    boatsColumn->addWidget(new QLabel(tr("Boats")));
    boatsColumn->addWidget(boats_);

    auto* layout = new QHBoxLayout(this);
    layout->addLayout(rowsColumn, 1);
    layout->addLayout(availableColumn, 1);
    layout->addLayout(boatsColumn, 1);
    resize(720, 420);
    reload();
}

void MetricsTableConfigViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    reload();
}

void MetricsTableConfigViewController::reload() {
    if (!table_)
        return;
    reloading_ = true;
    Document* document = table_->document();
    QStringList keys = table_->displayedMetrics().isEmpty() ? MetricsTableViewController::defaultMetrics()
                                                            : table_->displayedMetrics();
    setRows(keys, {});

    availableKeys_.clear();
    for (std::size_t i = 0; i < BoatMetric::fixedCount; ++i)
        availableKeys_.append(QString::fromStdString(BoatMetric::allFixed()[i].rawKey()));
    if (document)
        for (const BoatMetric& metric : loggedMetrics(*document))
            if (QString key = QString::fromStdString(metric.rawKey());
                metric.isCustom() && !availableKeys_.contains(key))
                availableKeys_.append(key);
    available_->clear();
    for (const QString& key : availableKeys_)
        available_->addItem(metricItem(key));

    boats_->clear();
    const QStringList& shown = table_->displayedBoats();
    if (document)
        for (const auto& boat : document->boats()) {
            auto* item = new QListWidgetItem(boat->fullName());
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
            item->setCheckState(shown.isEmpty() || shown.contains(boat->fullName()) ? Qt::Checked
                                                                                    : Qt::Unchecked);
            boats_->addItem(item);
        }
    reloading_ = false;
}

QStringList MetricsTableConfigViewController::rowKeys() const {
    QStringList keys;
    for (int i = 0; i < rows_->count(); ++i)
        keys.append(rows_->item(i)->data(Qt::UserRole).toString());
    return keys;
}

void MetricsTableConfigViewController::setRows(const QStringList& keys, const QList<int>& selected) {
    const bool wasReloading = std::exchange(reloading_, true);
    rows_->clear();
    for (const QString& key : keys)
        rows_->addItem(metricItem(key));
    for (int row : selected)
        if (row >= 0 && row < rows_->count())
            rows_->item(row)->setSelected(true);
    reloading_ = wasReloading;
}

void MetricsTableConfigViewController::addSelected() {
    QStringList keys = rowKeys();
    QList<int> rows;
    for (int i = 0; i < available_->count(); ++i)
        if (available_->item(i)->isSelected())
            rows.append(i);
    if (MetricKeyList::appendRows(keys, availableKeys_, rows, [] {}) == 0)
        return;
    setRows(keys, {});
    apply();
}

void MetricsTableConfigViewController::removeSelected() {
    QStringList keys = rowKeys();
    QList<int> rows = selectedRows(rows_);
    if (MetricKeyList::removeRows(keys, rows).isEmpty())
        return;
    int next = std::min(rows.first(), int(keys.size()) - 1);
    setRows(keys, next >= 0 ? QList<int>{next} : QList<int>{});
    apply();
}

void MetricsTableConfigViewController::moveSelected(int delta) {
    QStringList keys = rowKeys();
    const QStringList before = keys;
    QList<int> rows = MetricKeyList::moveRows(keys, selectedRows(rows_), delta);
    if (keys == before)
        return;
    setRows(keys, rows);
    apply();
}

void MetricsTableConfigViewController::apply() {
    if (reloading_ || !table_)
        return;
    QStringList boats;
    bool all = true;
    for (int i = 0; i < boats_->count(); ++i) {
        if (boats_->item(i)->checkState() == Qt::Checked)
            boats.append(boats_->item(i)->text());
        else
            all = false;
    }
    // All boats ticked means every boat, also those added later.
    if (all)
        boats.clear();
    table_->setDisplayedMetrics(rowKeys(), boats);
    emit table_->rowsEdited();
}

bool MetricsTableConfigViewController::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (watched == rows_ && (key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace)) {
            removeSelected();
            return true;
        }
        if (watched == rows_ && (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down) &&
            key->modifiers() & Qt::AltModifier) {
            moveSelected(key->key() == Qt::Key_Up ? -1 : 1);
            return true;
        }
        if (watched == available_ && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)) {
            addSelected();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
