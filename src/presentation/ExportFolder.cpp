#include "presentation/ExportFolder.h"

#include "core/DateFormat.h"
#include "core/UserDefaults.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>

const QString ExportFolder::defaultsKey = QStringLiteral("ExportFolder");

namespace {

bool makeFolder(const QString& path) {
    return !path.isEmpty() && QDir().mkpath(path) && QFileInfo(path).isDir();
}

QString chooseWithDialog(const QString& suggested) {
    return QFileDialog::getExistingDirectory(QApplication::activeWindow(),
                                             QObject::tr("Choose Export Folder"), suggested);
}

} // namespace

QString ExportFolder::standardSuggestion() {
    QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (pictures.isEmpty())
        pictures = QDir::homePath();
    return QDir(pictures).filePath("Wakeline");
}

ExportFolder::ExportFolder(UserDefaults& defaults, QString suggestion)
    : defaults_(defaults), suggestion_(std::move(suggestion)), chooser_(chooseWithDialog) {}

QString ExportFolder::rememberedFolder() const {
    return defaults_.stringValue(defaultsKey).value_or(QString());
}

std::optional<QString> ExportFolder::folder() {
    QString remembered = rememberedFolder();
    // A folder on a drive that is not mounted, or deleted since: made again when possible, else
    // the user picks another rather than losing the export.
    if (makeFolder(remembered))
        return remembered;
    return ask(suggestion_);
}

std::optional<QString> ExportFolder::chooseAgain() {
    QString remembered = rememberedFolder();
    return ask(QFileInfo(remembered).isDir() ? remembered : suggestion_);
}

std::optional<QString> ExportFolder::ask(const QString& suggested) {
    // Made first so that the chooser opens inside it rather than wherever it falls back to.
    makeFolder(suggested);
    QString chosen = chooser_(suggested);
    if (chosen.isEmpty())
        return std::nullopt;
    chosen = QDir::cleanPath(QDir(chosen).absolutePath());
    // A folder that cannot be made is still handed on, so that the write fails with its reason;
    // it is not remembered, so the next export asks again.
    if (makeFolder(chosen))
        defaults_.setValue(defaultsKey, chosen);
    return chosen;
}

QString ExportFolder::timeName(Instant time, const TimeZone& zone) {
    return QString::fromStdString(DateFormat("yyyy-MM-dd_HH-mm-ss-S", zone).format(time));
}

QString ExportFolder::numberedPath(const QString& folder, const QString& stem, const QString& suffix,
                                   int number) {
    QString name = number > 1 ? QStringLiteral("%1 %2").arg(stem).arg(number) : stem;
    if (!suffix.isEmpty())
        name += "." + suffix;
    return QDir(folder).filePath(name);
}

QString ExportFolder::unusedPath(const QString& folder, const QString& stem, const QString& suffix) {
    for (int number = 1;; ++number) {
        QString path = numberedPath(folder, stem, suffix, number);
        // A dangling link counts as taken: writing through it would create its target.
        QFileInfo info(path);
        if (!info.exists() && !info.isSymLink())
            return path;
    }
}
