#pragma once

#include <QMutex>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// The user's settings: a QSettings store plus defaults registered at start-up. A registered default
// answers only while the user has set no value of their own; registering never overwrites one.
class UserDefaults {
public:
    // The native settings of the program (organisation "Wakeline", application "Wakeline").
    UserDefaults();
    // An INI file at `path`; tests use a temporary one.
    explicit UserDefaults(const QString& path);

    // The settings the program uses. Tests point it at a temporary file first.
    static UserDefaults& standard();
    static void useFile(const QString& path);

    void registerDefaults(const QVariantMap& defaults);

    // The user's value, else the registered default, else an invalid QVariant.
    QVariant value(const QString& key) const;
    bool contains(const QString& key) const;
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);

    // Typed readers: a missing or unreadable value reads as 0, false or none.
    double doubleValue(const QString& key) const;
    qint64 integerValue(const QString& key) const;
    bool boolValue(const QString& key) const;
    std::optional<QString> stringValue(const QString& key) const;

    void sync();

    // Called with the key after every setValue or remove, on the thread that changed it. Returns
    // a token for stopObserving.
    int observe(std::function<void(const QString& key)> observer);
    void stopObserving(int token);

private:
    std::unique_ptr<QSettings> settings_;
    QVariantMap registered_;
    mutable QMutex mutex_;
    std::vector<std::pair<int, std::function<void(const QString&)>>> observers_;
    int lastObserverToken_ = 0;

    void notify(const QString& key);
};
