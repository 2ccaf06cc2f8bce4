#include "config/MediaGroupConfigViewController.h"

#include "app/ProgressWindowController.h"
#include "config/MediaAssetTableModel.h"
#include "config/MediaFileAddition.h"
#include "config/TimeZoneComboBox.h"
#include "config/ZonedDateTimeEdit.h"
#include "document/AssetSync.h"
#include "document/Document.h"
#include "document/PlaceMediaAssets.h"
#include "document/RemoveMediaAssets.h"
#include "document/RenameMediaGroup.h"
#include "document/SyncAssets.h"
#include "media/MediaAsset.h"
#include "media/MediaFileAdder.h"
#include "media/MediaGroup.h"
#include "presentation/EditPerformer.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

namespace {

// Seconds that show blank (the minimum, a value nobody types) while the selected files differ;
// the arrows then move each file by a step from where it is.
class SecondsSpinBox : public QDoubleSpinBox {
public:
    using QDoubleSpinBox::QDoubleSpinBox;

    std::function<void(double)> steppedWhileBlank;

    bool isBlank() const { return value() == minimum(); }
    void showBlank() { setValue(minimum()); }

    void stepBy(int steps) override {
        if (isBlank()) {
            if (steppedWhileBlank)
                steppedWhileBlank(steps * singleStep());
            return;
        }
        QDoubleSpinBox::stepBy(steps);
    }

protected:
    StepEnabled stepEnabled() const override {
        if (isBlank())
            return isEnabled() ? StepUpEnabled | StepDownEnabled : StepNone;
        return QDoubleSpinBox::stepEnabled();
    }
};

void showAlert(QWidget* parent, const QString& message, const QString& informativeText) {
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Warning);
    box.setText(message);
    box.setInformativeText(informativeText);
    box.addButton(MediaFileAdder::Result::alertButton(), QMessageBox::AcceptRole);
    box.exec();
}

QList<QUrl> chooseMediaFiles(QWidget* parent) {
    QFileDialog dialog(parent,
                       QCoreApplication::translate("MediaGroupConfigViewController", "Choose a file"));
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setSizeGripEnabled(true);
    if (dialog.exec() != QDialog::Accepted)
        return {};
    return dialog.selectedUrls();
}

} // namespace

MediaGroupConfigViewController::MediaGroupConfigViewController(Document* document,
                                                               std::shared_ptr<MediaGroup> group,
                                                               QWidget* parent)
    : QWidget(parent), document_(document), group_(std::move(group)), chooseFiles_(&chooseMediaFiles),
      alert_(&showAlert) {
    setObjectName(QStringLiteral("MediaGroupConfig"));
    buildView();
    if (document_)
        connect(document_, &Document::documentAssetsUpdated, this,
                &MediaGroupConfigViewController::didUpdateAssets);
    didUpdateAssets();
}

MediaGroupConfigViewController::~MediaGroupConfigViewController() {
    // The children go after this part of the editor: their last signals (a selection cleared, a
    // field losing focus) must not reach it.
    for (QObject* child : findChildren<QObject*>())
        disconnect(child, nullptr, this, nullptr);
}

void MediaGroupConfigViewController::buildView() {
    nameField_ = new QLineEdit(this);
    nameField_->setPlaceholderText(tr("Group name"));
    connect(nameField_, &QLineEdit::editingFinished, this, &MediaGroupConfigViewController::renameGroup);

    model_ = new MediaAssetTableModel(this);
    table_ = new QTableView(this);
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->verticalHeader()->hide();
    table_->setWordWrap(false);
    // The file name gives way when the editor is narrow: its middle, as the ends tell files apart.
    table_->setTextElideMode(Qt::ElideMiddle);
    for (int column = 0; column < MediaAssetTableModel::ColumnCount; ++column)
        table_->horizontalHeader()->setSectionResizeMode(column, column == MediaAssetTableModel::FileName
                                                                     ? QHeaderView::Stretch
                                                                     : QHeaderView::ResizeToContents);
    table_->setSortingEnabled(true);
    table_->sortByColumn(MediaAssetTableModel::StartTime, Qt::AscendingOrder);
    table_->setDragEnabled(true);
    table_->setDragDropMode(QAbstractItemView::DragDrop);
    table_->setDefaultDropAction(Qt::CopyAction);
    table_->setDropIndicatorShown(false);
    table_->viewport()->setAcceptDrops(true);
    table_->viewport()->installEventFilter(this);
    table_->installEventFilter(this);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &MediaGroupConfigViewController::updateTimeControls);

    addButton_ = new QPushButton(tr("Add Files…"), this);
    addButton_->setToolTip(tr("Add photos and videos to this group; you can also drop files on the list"));
    connect(addButton_, &QPushButton::clicked, this, &MediaGroupConfigViewController::addFiles);
    removeButton_ = new QPushButton(tr("Remove"), this);
    removeButton_->setToolTip(tr("Remove the selected files from the event (Delete)"));
    connect(removeButton_, &QPushButton::clicked, this,
            &MediaGroupConfigViewController::removeSelectedAssets);

    syncButton_ = new QPushButton(tr("Sync to Data"), this);
    syncButton_->setObjectName("syncToData");
    syncButton_->setToolTip(
        tr("Line the selected videos (all videos when none is selected) up with the main boat's data "
           "by their camera's own GPS"));
    connect(syncButton_, &QPushButton::clicked, this, &MediaGroupConfigViewController::syncToData);

    auto* seconds = new SecondsSpinBox(this);
    seconds->setDecimals(3);
    seconds->setRange(-1e10, 1e10);
    seconds->setSingleStep(1.0);
    seconds->setSuffix(tr(" s"));
    seconds->setSpecialValueText(QStringLiteral(" "));
    seconds->setKeyboardTracking(false);
    seconds->setAccelerated(true);
    seconds->setToolTip(tr("Seconds added to the files' own time; more moves them later"));
    seconds->steppedWhileBlank = [this](double step) { stepOffset(step); };
    connect(seconds, &QDoubleSpinBox::valueChanged, this, &MediaGroupConfigViewController::setOffset);
    seconds_ = seconds;

    zoneBox_ = new TimeZoneComboBox(this);
    zoneBox_->setToolTip(tr("The time zone the camera's clock was set to"));
    connect(zoneBox_, &TimeZoneComboBox::zoneChosen, this, [this](const TimeZone& zone) {
        if (!updating_ && document_)
            performEdit(*document_, PlaceMediaAssets::settingFileTimeZone(selectedAssets(), zone));
    });

    timestampPicker_ = new ZonedDateTimeEdit(this);
    // The file's reading is kept as if it were UTC: shown that way, it reads as the camera's clock did.
    timestampPicker_->setZone(TimeZone::utc());
    timestampPicker_->setToolTip(tr("The start as the camera's clock read it (one file at a time)"));
    connect(timestampPicker_, &ZonedDateTimeEdit::instantEdited, this, [this](Instant reading) {
        const auto selected = selectedAssets();
        if (!updating_ && document_ && selected.size() == 1)
            performEdit(*document_, PlaceMediaAssets::settingFileStartTime(selected.front(), reading));
    });

    auto* nameForm = new QFormLayout();
    nameForm->addRow(tr("Name:"), nameField_);

    auto* buttons = new QHBoxLayout();
    buttons->addWidget(addButton_);
    buttons->addWidget(removeButton_);
    buttons->addWidget(syncButton_);
    buttons->addStretch();

    auto* timeBox = new QGroupBox(tr("Time of the selected files"), this);
    auto* timeForm = new QFormLayout(timeBox);
    timeForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    timeForm->addRow(tr("Offset:"), seconds_);
    timeForm->addRow(tr("File time zone:"), zoneBox_);
    timeForm->addRow(tr("File clock start:"), timestampPicker_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(nameForm);
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(timeBox);
}

bool MediaGroupConfigViewController::groupIsInDocument() const {
    if (!document_ || !group_)
        return false;
    const auto& groups = document_->mediaGroups();
    return std::find(groups.begin(), groups.end(), group_) != groups.end();
}

void MediaGroupConfigViewController::didUpdateAssets() {
    // A name being typed is not overwritten by someone else's change.
    if (group_ && !nameField_->isModified())
        nameField_->setText(group_->name);
    reloadTable();
    // A group taken out of the document (by undo, say) can no longer be edited here.
    setEnabled(groupIsInDocument());
}

void MediaGroupConfigViewController::reloadTable() {
    const auto selected = selectedAssets();
    std::vector<std::shared_ptr<MediaAsset>> assets;
    if (document_)
        for (const auto& asset : document_->assets())
            if (asset->mediaGroup() == group_)
                assets.push_back(asset);
    updating_ = true;
    model_->setAssets(std::move(assets), document_ ? document_->eventTimezone() : TimeZone::utc());
    QItemSelection selection;
    for (const auto& asset : selected) {
        const int row = model_->rowOf(asset);
        if (row >= 0)
            selection.select(model_->index(row, 0),
                             model_->index(row, MediaAssetTableModel::ColumnCount - 1));
    }
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!selection.isEmpty())
        table_->selectionModel()->setCurrentIndex(selection.first().topLeft(), QItemSelectionModel::NoUpdate);
    updating_ = false;
    updateTimeControls();
}

ProgressWindowController* MediaGroupConfigViewController::progressWindow() const {
    return progress_;
}

std::vector<std::shared_ptr<MediaAsset>> MediaGroupConfigViewController::selectedAssets() const {
    QModelIndexList rows = table_->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(),
              [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    std::vector<std::shared_ptr<MediaAsset>> assets;
    for (const QModelIndex& index : rows)
        if (auto asset = model_->assetAt(index.row()))
            assets.push_back(std::move(asset));
    return assets;
}

void MediaGroupConfigViewController::updateTimeControls() {
    if (updating_)
        return;
    const auto selected = selectedAssets();
    updating_ = true;
    auto* seconds = static_cast<SecondsSpinBox*>(seconds_);
    seconds_->setEnabled(!selected.empty());
    zoneBox_->setEnabled(!selected.empty());
    timestampPicker_->setEnabled(selected.size() == 1);
    auto allAlike = [&selected](auto value) {
        return std::all_of(selected.begin(), selected.end(),
                           [&](const auto& asset) { return value(*asset) == value(*selected.front()); });
    };
    if (!selected.empty() && allAlike([](const MediaAsset& a) { return a.offset(); }))
        seconds_->setValue(selected.front()->offset());
    else
        seconds->showBlank();
    if (!selected.empty() && allAlike([](const MediaAsset& a) { return a.fileTimeZone(); }))
        zoneBox_->setZone(selected.front()->fileTimeZone());
    else
        zoneBox_->setZone(std::nullopt);
    if (selected.size() == 1)
        timestampPicker_->setInstant(selected.front()->fileStartTime());
    else
        timestampPicker_->setInstant(std::nullopt);
    updating_ = false;
}

void MediaGroupConfigViewController::setOffset(double seconds) {
    if (updating_ || !document_ || seconds == seconds_->minimum())
        return;
    if (auto edit = PlaceMediaAssets::settingOffset(selectedAssets(), seconds))
        performEdit(*document_, std::move(edit));
}

void MediaGroupConfigViewController::stepOffset(double seconds) {
    if (updating_ || !document_)
        return;
    if (auto edit = PlaceMediaAssets::addingToOffset(selectedAssets(), seconds))
        performEdit(*document_, std::move(edit));
}

void MediaGroupConfigViewController::renameGroup() {
    if (!document_ || !group_)
        return;
    const QString name = nameField_->text().trimmed();
    nameField_->setModified(false);
    if (name == group_->name) {
        nameField_->setText(group_->name);
        return;
    }
    if (name.isEmpty()) {
        nameField_->setText(group_->name);
        return;
    }
    // Files name their group in the saved document: two groups of one name would become one.
    const auto& groups = document_->mediaGroups();
    const bool taken = std::any_of(groups.begin(), groups.end(),
                                   [&](const auto& other) { return other != group_ && other->name == name; });
    if (taken) {
        nameField_->setText(group_->name);
        alert_(window(), tr("Could not rename the media group"),
               tr("Another media group is already named “%1”. Choose a name of its own.").arg(name));
        return;
    }
    performEdit(*document_, std::make_unique<RenameMediaGroup>(group_, name));
}

void MediaGroupConfigViewController::addFiles() {
    const QList<QUrl> urls = chooseFiles_(window());
    addUrls(urls);
}

void MediaGroupConfigViewController::addUrls(const QList<QUrl>& urls) {
    if (!document_ || !group_)
        return;
    if (auto* progress = MediaFileAddition::start(window(), document_, group_, urls, alert_))
        progress_ = progress;
}

void MediaGroupConfigViewController::syncToData() {
    if (!document_ || !groupIsInDocument())
        return;
    std::vector<std::shared_ptr<MediaAsset>> assets = selectedAssets();
    if (assets.empty())
        for (const auto& asset : document_->assets())
            if (asset->mediaGroup() == group_)
                assets.push_back(asset);
    std::vector<std::pair<std::shared_ptr<MediaAsset>, double>> shifts;
    QStringList lines;
    // Reading the camera tracks of long clips takes a moment; the editor waits for them.
    QApplication::setOverrideCursor(Qt::WaitCursor);
    for (const auto& asset : assets) {
        if (asset->isPhoto())
            continue;
        const AssetSync::Proposal proposal = AssetSync::propose(*document_, asset);
        const QString name = QFileInfo(asset->url().toLocalFile()).fileName();
        if (!proposal.result) {
            lines << tr("%1: %2").arg(name, proposal.failure);
            continue;
        }
        lines << tr("%1: %2").arg(name, QString::fromStdString(proposal.result->summary()));
        if (proposal.result->confident)
            shifts.emplace_back(asset, proposal.result->offset);
    }
    QApplication::restoreOverrideCursor();
    if (lines.isEmpty())
        lines << tr("The group has no videos.");
    const bool moved = !shifts.empty();
    if (moved)
        performEdit(*document_, std::make_unique<SyncAssets>(std::move(shifts)));
    alert_(window(), moved ? tr("Synced to the data") : tr("Nothing was synced"),
           lines.join(QLatin1Char('\n')));
}

void MediaGroupConfigViewController::removeSelectedAssets() {
    if (!document_)
        return;
    auto selected = selectedAssets();
    if (selected.empty()) {
        alert_(window(), tr("No assets selected"), tr("Select some assets to remove"));
        return;
    }
    performEdit(*document_, std::make_unique<RemoveMediaAssets>(std::move(selected)));
}

QList<QUrl> MediaGroupConfigViewController::droppableUrls(const QMimeData* mime) const {
    if (!mime || !mime->hasUrls())
        return {};
    QList<QUrl> files;
    for (const QUrl& url : mime->urls())
        if (url.isLocalFile())
            files << url;
    if (files.isEmpty())
        return {};
    // This group's own rows dragged back: they are here already.
    const QString type = QString::fromLatin1(MediaAssetTableModel::pasteboardType);
    if (mime->hasFormat(type)) {
        const auto dragged = MediaAssetTableModel::urlsOfPropertyList(mime->data(type));
        const auto& assets = model_->sortedAssets();
        auto isOwn = [&assets](const QUrl& url) {
            return std::any_of(assets.begin(), assets.end(),
                               [&url](const auto& asset) { return asset->url() == url; });
        };
        if (dragged && !dragged->isEmpty() && std::all_of(dragged->begin(), dragged->end(), isOwn))
            return {};
    }
    return files;
}

bool MediaGroupConfigViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == table_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
            removeSelectedAssets();
            return true;
        }
        return false;
    }
    if (watched != table_->viewport())
        return false;
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        if (!isEnabled() || droppableUrls(drag->mimeData()).isEmpty()) {
            drag->ignore();
        } else {
            drag->setDropAction(Qt::LinkAction);
            drag->accept();
        }
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        const QList<QUrl> urls = isEnabled() ? droppableUrls(drop->mimeData()) : QList<QUrl>();
        if (urls.isEmpty()) {
            drop->ignore();
            return true;
        }
        drop->setDropAction(Qt::LinkAction);
        drop->accept();
        // The drag's source waits for the drop to return: the work starts after it.
        QMetaObject::invokeMethod(
            this, [this, urls] { addUrls(urls); }, Qt::QueuedConnection);
        return true;
    }
    default:
        return false;
    }
}
