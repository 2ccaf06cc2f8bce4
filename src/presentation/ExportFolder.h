#pragma once

#include "core/Instant.h"

#include <QString>
#include <functional>
#include <optional>

class TimeZone;
class UserDefaults;

// Where snapshots, photo exports and screen captures go. The user picks the folder once; it is
// remembered in the user defaults and used from then on without asking, until the user chooses
// again or the folder is gone and cannot be made anew.
class ExportFolder {
public:
    static const QString defaultsKey;

    // Shows a folder chooser opened at `suggested`; returns the chosen folder, or empty when the
    // user cancels. Tests answer it themselves.
    using Chooser = std::function<QString(const QString& suggested)>;

    // The user's Pictures folder with "Wakeline" inside.
    static QString standardSuggestion();

    explicit ExportFolder(UserDefaults& defaults, QString suggestion = standardSuggestion());

    void setChooser(Chooser chooser) { chooser_ = std::move(chooser); }

    // The remembered folder, made if it went missing; asks when there is none that can be used.
    // None when the user cancels.
    std::optional<QString> folder();
    // Asks even when a folder is remembered ("Choose Export Folder…"), starting at the current one.
    std::optional<QString> chooseAgain();

    // The folder remembered, whether or not it exists now.
    QString rememberedFolder() const;

    // Exported files are named after the instant they show, to the tenth of a second, in the
    // event's zone: "2023-06-01_14-05-09-3".
    static QString timeName(Instant time, const TimeZone& zone);
    // "stem.suffix" for 1, "stem 2.suffix" for 2, and so on.
    static QString numberedPath(const QString& folder, const QString& stem, const QString& suffix,
                                int number);
    // The first numbered path in `folder` where nothing lies yet.
    static QString unusedPath(const QString& folder, const QString& stem, const QString& suffix);

private:
    std::optional<QString> ask(const QString& suggested);

    UserDefaults& defaults_;
    QString suggestion_;
    Chooser chooser_;
};
