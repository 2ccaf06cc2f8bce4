#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <map>
#include <memory>

class ProgressWindowController;
class VideoProxyJob;

// Makes proxies for the whole program, one job per original at a time, each in a progress window
// with a Cancel button. Media views ask for a proxy when their video cannot be played in real time
// here, and switch over when `proxyReady` names their original.
class VideoProxyMaker : public QObject {
    Q_OBJECT
public:
    static VideoProxyMaker& shared();
    ~VideoProxyMaker() override;

    // Starts making the proxy of `original` unless one is being made or was cancelled by the user
    // in this session (asking again after a Cancel would be a nuisance).
    void request(const QString& original);
    bool isMaking(const QString& original) const { return jobs_.count(original) != 0; }

signals:
    void proxyReady(const QString& original, const QString& proxy);

private:
    VideoProxyMaker() = default;
    void finished(const QString& original);

    struct Running {
        std::unique_ptr<VideoProxyJob> job;
        QPointer<ProgressWindowController> window;
        int timer = 0;
    };
    std::map<QString, Running> jobs_;
    std::map<QString, bool> declined_;
};
