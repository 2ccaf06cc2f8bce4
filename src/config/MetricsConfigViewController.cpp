#include "config/MetricsConfigViewController.h"

#include "boatlog/DoubleArrayBoatLog.h"
#include "boatlog/LogFileAsset.h"
#include "config/MetricsConfigTableModel.h"
#include "core/FatalError.h"
#include "document/Document.h"
#include "document/LoggedMetrics.h"
#include "media/MediaGroup.h"
#include "metrics/BoatMetric.h"
#include "metrics/MetricKeyList.h"
#include "metrics/MetricPresentation.h"
#include "presentation/PresentationWindowController.h"
#include "presentation/VideoPlaybackViewController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {
QLabel* heading(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}
} // namespace

MetricsConfigViewController::MetricsConfigViewController(QWidget* parent)
    : QWidget(parent, Qt::Tool), overlayTableView_(makeTable("overlayTableView")),
      overlayBeforeGunTableView_(makeTable("overlayBeforeGunTableView")),
      availableTableView_(makeTable("availableTableView")), mediaGroupPopup_(new QComboBox),
      muteAudioCheckbox_(new QCheckBox(tr("Mute sound"))),
      overlayModel_(new MetricsConfigTableModel(this, overlayTableView_)),
      overlayBeforeGunModel_(new MetricsConfigTableModel(this, overlayBeforeGunTableView_)),
      availableModel_(new MetricsConfigTableModel(this, availableTableView_)) {
    setObjectName("MetricsConfig");
    setWindowTitle(tr("Overlays"));
    setAttribute(Qt::WA_DeleteOnClose);
    overlayTableView_->setModel(overlayModel_);
    overlayBeforeGunTableView_->setModel(overlayBeforeGunModel_);
    availableTableView_->setModel(availableModel_);
    mediaGroupPopup_->setObjectName("mediaGroupPopup");
    muteAudioCheckbox_->setObjectName("muteAudioCheckbox");

    auto* filter = new QLineEdit;
    filter->setObjectName("availableFilter");
    filter->setPlaceholderText(tr("Filter"));
    filter->setClearButtonEnabled(true);
    connect(filter, &QLineEdit::textChanged, this, [this](const QString& text) {
        availableTableView_->setProperty("filter", text);
        viewWillAppear();
    });

    auto listColumn = [this](const QString& title, QTableView* table) {
        auto* column = new QVBoxLayout;
        column->addWidget(heading(title));
        column->addWidget(table);
        auto* buttons = new QHBoxLayout;
        auto button = [&](const QString& text, const QString& tip, auto action) {
            auto* b = new QToolButton;
            b->setText(text);
            b->setToolTip(tip);
            connect(b, &QToolButton::clicked, this, action);
            buttons->addWidget(b);
            return b;
        };
        button(QStringLiteral("↑"), tr("Move up (Alt+Up)"), [this, table] { moveSelected(table, -1); });
        button(QStringLiteral("↓"), tr("Move down (Alt+Down)"), [this, table] { moveSelected(table, 1); });
        buttons->addStretch();
        button(tr("Remove"), tr("Remove the selected metrics (Delete)"), [this, table] {
            removeSelected(table);
        })->setObjectName(table->objectName() + "Remove");
        column->addLayout(buttons);
        return column;
    };

    auto* available = new QVBoxLayout;
    available->addWidget(heading(tr("Available")));
    available->addWidget(filter);
    available->addWidget(availableTableView_);
    auto* addButtons = new QHBoxLayout;
    auto* addAfter = new QPushButton(tr("Add After Gun"));
    addAfter->setObjectName("addToOverlay");
    connect(addAfter, &QPushButton::clicked, this, &MetricsConfigViewController::addToOverlay);
    auto* addBefore = new QPushButton(tr("Add Before Gun"));
    addBefore->setObjectName("addToOverlayBeforeGun");
    connect(addBefore, &QPushButton::clicked, this, &MetricsConfigViewController::addToOverlayBeforeGun);
    addButtons->addWidget(addAfter);
    addButtons->addWidget(addBefore);
    available->addLayout(addButtons);

    auto* tables = new QHBoxLayout;
    tables->addLayout(listColumn(tr("After the gun"), overlayTableView_), 1);
    tables->addLayout(listColumn(tr("Before the gun"), overlayBeforeGunTableView_), 1);
    tables->addLayout(available, 1);

    auto* form = new QFormLayout;
    form->addRow(tr("Media group:"), mediaGroupPopup_);
    form->addRow(QString(), muteAudioCheckbox_);

    auto* layout = new QVBoxLayout(this);
    auto* hint =
        new QLabel(tr("The overlays show the first list once the race has started, the second before "
                      "its gun. Drag metrics between the lists, or double-click one to add it."));
    hint->setWordWrap(true);
    layout->addWidget(hint);
    layout->addLayout(tables, 1);
    layout->addLayout(form);

    connect(mediaGroupPopup_, &QComboBox::activated, this, [this] { mediaGroupPopupAction(); });
    connect(muteAudioCheckbox_, &QCheckBox::clicked, this, [this] { muteAudioCheckboxAction(); });
    connect(availableTableView_, &QTableView::doubleClicked, this, [this] { addToOverlay(); });
    resize(760, 460);
}

MetricsConfigViewController::~MetricsConfigViewController() = default;

QTableView* MetricsConfigViewController::makeTable(const char* name) {
    auto* table = new QTableView;
    table->setObjectName(name);
    table->horizontalHeader()->hide();
    table->horizontalHeader()->setStretchLastSection(true);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 8);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table->setShowGrid(false);
    table->setAlternatingRowColors(true);
    table->setDragEnabled(true);
    table->setAcceptDrops(true);
    table->setDropIndicatorShown(true);
    table->setDragDropMode(QAbstractItemView::DragDrop);
    // The controller decides what a drop does; the view must not delete the dragged rows itself.
    table->setDefaultDropAction(Qt::CopyAction);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->installEventFilter(this);
    return table;
}

VideoPlaybackViewController* MetricsConfigViewController::delegateController() const {
    return delegateController_;
}

PresentationWindowController* MetricsConfigViewController::delegateWindowController() const {
    return delegateWindowController_;
}

Document* MetricsConfigViewController::document() const {
    return document_;
}

void MetricsConfigViewController::setDelegateController(VideoPlaybackViewController* controller) {
    delegateController_ = controller;
    delegateWindowController_ = nullptr;
    viewWillAppear();
}

void MetricsConfigViewController::setDelegateWindowController(PresentationWindowController* controller) {
    delegateWindowController_ = controller;
    delegateController_ = nullptr;
    viewWillAppear();
}

void MetricsConfigViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    viewWillAppear();
}

void MetricsConfigViewController::viewWillAppear() {
    if (delegateController_) {
        document_ = delegateController_->document();
        overlayKeys_ = delegateController_->displayedMetrics();
        overlayKeysBeforeGun_ = delegateController_->displayedMetricsBeforeGun();
        mediaGroup_ = delegateController_->mediaGroup();
        muteAudio_ = delegateController_->muteAudio();
    } else if (delegateWindowController_) {
        document_ = delegateWindowController_->currentDocument();
        overlayKeys_ = delegateWindowController_->displayedMetrics();
        overlayKeysBeforeGun_ = delegateWindowController_->displayedMetricsBeforeGun();
        mediaGroup_ = document_
                          ? document_->mediaGroupNamed(delegateWindowController_->initialMediaGroupName())
                          : nullptr;
        muteAudio_ = delegateWindowController_->muteAudio();
    }

    // Every metric of the catalogue, then the document's own columns.
    availableKeys_.clear();
    keysWithData_.clear();
    QStringList ordered;
    for (std::size_t i = 0; i < BoatMetric::fixedCount; ++i)
        ordered.append(QString::fromStdString(BoatMetric::allFixed()[i].rawKey()));
    if (document_) {
        for (const BoatMetric& metric : loggedMetrics(*document_)) {
            QString key = QString::fromStdString(metric.rawKey());
            keysWithData_.insert(key);
            if (metric.isCustom() && !ordered.contains(key))
                ordered.append(key);
        }
    }
    for (const QString& key : ordered)
        availableKeys_.insert(key);
    const QString filter = availableTableView_->property("filter").toString().trimmed();
    availableKeysOrdered_.clear();
    for (const QString& key : ordered) {
        if (!filter.isEmpty() && !key.contains(filter, Qt::CaseInsensitive) &&
            !MetricPresentation(BoatMetric(key.toStdString())).name().contains(filter, Qt::CaseInsensitive))
            continue;
        availableKeysOrdered_.append(key);
    }

    mediaGroupPopup_->clear();
    if (document_)
        for (const auto& group : document_->mediaGroups())
            mediaGroupPopup_->addItem(group->name);
    mediaGroupPopup_->setCurrentIndex(mediaGroup_ ? mediaGroupPopup_->findText(mediaGroup_->name) : -1);
    muteAudioCheckbox_->setChecked(muteAudio_);
    reloadTables();
}

QStringList& MetricsConfigViewController::listOf(const QTableView* table) {
    if (table == overlayTableView_)
        return overlayKeys_;
    if (table == overlayBeforeGunTableView_)
        return overlayKeysBeforeGun_;
    if (table == availableTableView_)
        return availableKeysOrdered_;
    fatalError("Undefined table view");
}

int MetricsConfigViewController::numberOfRows(const QTableView* table) const {
    return int(const_cast<MetricsConfigViewController*>(this)->listOf(table).size());
}

QString MetricsConfigViewController::objectValue(const QTableView* table, int row) const {
    const QStringList& list = const_cast<MetricsConfigViewController*>(this)->listOf(table);
    return row >= 0 && row < list.size() ? list[row] : QString();
}

QList<int> MetricsConfigViewController::selectedRows(const QTableView* table) const {
    QList<int> rows;
    if (table->selectionModel())
        for (const QModelIndex& index : table->selectionModel()->selectedRows())
            rows.append(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

void MetricsConfigViewController::selectRows(QTableView* table, const QList<int>& rows) {
    table->clearSelection();
    QItemSelection selection;
    for (int row : rows)
        if (row >= 0 && row < table->model()->rowCount())
            selection.select(table->model()->index(row, 0), table->model()->index(row, 0));
    table->selectionModel()->select(selection, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    if (!rows.isEmpty())
        table->scrollTo(table->model()->index(rows.first(), 0));
}

void MetricsConfigViewController::reloadTables() {
    for (auto* model : {overlayModel_, overlayBeforeGunModel_, availableModel_})
        model->reload();
}

void MetricsConfigViewController::addToOverlay() {
    addSelected(overlayTableView_);
}

void MetricsConfigViewController::addToOverlayBeforeGun() {
    addSelected(overlayBeforeGunTableView_);
}

void MetricsConfigViewController::addSelected(QTableView* target) {
    auto* model = target == overlayTableView_ ? overlayModel_ : overlayBeforeGunModel_;
    int added = MetricKeyList::appendRows(listOf(target), availableKeysOrdered_,
                                          selectedRows(availableTableView_), [model] { model->reload(); });
    if (added > 0)
        listsDidChange();
}

void MetricsConfigViewController::removeSelected() {
    removeSelected(overlayBeforeGunTableView_->hasFocus() ? overlayBeforeGunTableView_ : overlayTableView_);
}

void MetricsConfigViewController::removeSelected(QTableView* table) {
    if (table == availableTableView_)
        return;
    QList<int> rows = selectedRows(table);
    if (MetricKeyList::removeRows(listOf(table), rows).isEmpty())
        return;
    reloadTables();
    // The row after the removed ones takes the selection, so that Delete can be pressed again.
    int next = std::min(rows.first(), int(listOf(table).size()) - 1);
    selectRows(table, next >= 0 ? QList<int>{next} : QList<int>{});
    listsDidChange();
}

void MetricsConfigViewController::moveSelected(QTableView* table, int delta) {
    if (table == availableTableView_)
        return;
    QStringList before = listOf(table);
    QList<int> rows = MetricKeyList::moveRows(listOf(table), selectedRows(table), delta);
    if (listOf(table) == before)
        return;
    reloadTables();
    selectRows(table, rows);
    listsDidChange();
}

bool MetricsConfigViewController::dropKeys(QTableView* target, const QStringList& keys,
                                           const QTableView* source, int row) {
    if (keys.isEmpty())
        return false;
    if (target == availableTableView_) {
        // Dragged back out of a list: taken off it.
        if (!source || source == availableTableView_)
            return false;
        QStringList& list = listOf(source);
        for (const QString& key : keys)
            list.removeAll(key);
        reloadTables();
        listsDidChange();
        return true;
    }
    QStringList& list = listOf(target);
    // From the other list the keys move over; from the available table they are added.
    if (source && source != target && source != availableTableView_)
        for (const QString& key : keys)
            listOf(source).removeAll(key);
    QStringList known;
    for (const QString& key : keys)
        if (!key.isEmpty())
            known.append(key);
    QList<int> rows = MetricKeyList::insertKeys(list, known, row);
    reloadTables();
    selectRows(target, rows);
    listsDidChange();
    return true;
}

void MetricsConfigViewController::mediaGroupPopupAction() {
    mediaGroup_ = document_ ? document_->mediaGroupNamed(mediaGroupPopup_->currentText()) : nullptr;
    if (delegateController_) {
        delegateController_->setMediaGroup(mediaGroup_);
        emit delegateController_->overlaySettingsEdited();
    } else if (delegateWindowController_) {
        delegateWindowController_->setInitialMediaGroupName(mediaGroup_ ? mediaGroup_->name : QString());
    }
}

void MetricsConfigViewController::muteAudioCheckboxAction() {
    muteAudio_ = muteAudioCheckbox_->isChecked();
    if (delegateController_) {
        delegateController_->setMuteAudio(muteAudio_);
        emit delegateController_->overlaySettingsEdited();
    } else if (delegateWindowController_) {
        delegateWindowController_->setMuteAudio(muteAudio_);
    }
}

void MetricsConfigViewController::listsDidChange() {
    if (delegateController_) {
        delegateController_->setDisplayedMetrics(overlayKeys_, overlayKeysBeforeGun_);
        emit delegateController_->overlaySettingsEdited();
    } else if (delegateWindowController_) {
        delegateWindowController_->setDisplayedMetrics(overlayKeys_, overlayKeysBeforeGun_);
    }
}

bool MetricsConfigViewController::eventFilter(QObject* watched, QEvent* event) {
    auto* table = qobject_cast<QTableView*>(watched);
    if (table && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if ((key->key() == Qt::Key_Delete || key->key() == Qt::Key_Backspace) &&
            table != availableTableView_) {
            removeSelected(table);
            return true;
        }
        if ((key->key() == Qt::Key_Up || key->key() == Qt::Key_Down) && key->modifiers() & Qt::AltModifier) {
            moveSelected(table, key->key() == Qt::Key_Up ? -1 : 1);
            return true;
        }
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && table == availableTableView_) {
            addToOverlay();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
