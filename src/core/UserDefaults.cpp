#include "core/UserDefaults.h"

#include <QMutexLocker>

namespace {
// Boats are made on worker threads too (while a document opens), so the shared instance is
// guarded.
QMutex standardMutex;
std::unique_ptr<UserDefaults>& standardInstance() {
    static std::unique_ptr<UserDefaults> instance;
    return instance;
}
} // namespace

UserDefaults::UserDefaults() : settings_(std::make_unique<QSettings>("Wakeline", "Wakeline")) {}

UserDefaults::UserDefaults(const QString& path)
    : settings_(std::make_unique<QSettings>(path, QSettings::IniFormat)) {}

UserDefaults& UserDefaults::standard() {
    QMutexLocker lock(&standardMutex);
    auto& instance = standardInstance();
    if (!instance)
        instance = std::make_unique<UserDefaults>();
    return *instance;
}

// Only before any other thread uses the settings: references handed out earlier would dangle.
void UserDefaults::useFile(const QString& path) {
    QMutexLocker lock(&standardMutex);
    standardInstance() = std::make_unique<UserDefaults>(path);
}

void UserDefaults::registerDefaults(const QVariantMap& defaults) {
    QMutexLocker lock(&mutex_);
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        registered_.insert(it.key(), it.value());
}

QVariant UserDefaults::value(const QString& key) const {
    QMutexLocker lock(&mutex_);
    if (settings_->contains(key))
        return settings_->value(key);
    return registered_.value(key);
}

bool UserDefaults::contains(const QString& key) const {
    QMutexLocker lock(&mutex_);
    return settings_->contains(key) || registered_.contains(key);
}

void UserDefaults::setValue(const QString& key, const QVariant& value) {
    {
        QMutexLocker lock(&mutex_);
        settings_->setValue(key, value);
    }
    notify(key);
}

void UserDefaults::remove(const QString& key) {
    {
        QMutexLocker lock(&mutex_);
        settings_->remove(key);
    }
    notify(key);
}

int UserDefaults::observe(std::function<void(const QString& key)> observer) {
    QMutexLocker lock(&mutex_);
    int token = ++lastObserverToken_;
    observers_.emplace_back(token, std::move(observer));
    return token;
}

void UserDefaults::stopObserving(int token) {
    QMutexLocker lock(&mutex_);
    std::erase_if(observers_, [token](const auto& entry) { return entry.first == token; });
}

// Outside the lock: an observer reads the settings again.
void UserDefaults::notify(const QString& key) {
    std::vector<std::function<void(const QString&)>> observers;
    {
        QMutexLocker lock(&mutex_);
        for (const auto& entry : observers_)
            observers.push_back(entry.second);
    }
    for (const auto& observer : observers)
        observer(key);
}

double UserDefaults::doubleValue(const QString& key) const {
    bool ok = false;
    double result = value(key).toDouble(&ok);
    return ok ? result : 0.0;
}

qint64 UserDefaults::integerValue(const QString& key) const {
    QVariant v = value(key);
    bool ok = false;
    qint64 result = v.toLongLong(&ok);
    if (ok)
        return result;
    // INI files hand numbers back as text; "12.0" still reads as 12.
    double asDouble = v.toDouble(&ok);
    return ok ? static_cast<qint64>(asDouble) : 0;
}

bool UserDefaults::boolValue(const QString& key) const {
    QVariant v = value(key);
    if (v.typeId() == QMetaType::QString) {
        QString text = v.toString().trimmed().toLower();
        return text == "true" || text == "yes" || text.toDouble() != 0.0;
    }
    return v.toBool();
}

std::optional<QString> UserDefaults::stringValue(const QString& key) const {
    QVariant v = value(key);
    if (!v.isValid())
        return std::nullopt;
    return v.toString();
}

void UserDefaults::sync() {
    QMutexLocker lock(&mutex_);
    settings_->sync();
}
