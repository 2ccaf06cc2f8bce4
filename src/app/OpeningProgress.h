#pragma once

#include "document/ProgressSink.h"

#include <QPointer>
#include <memory>

class ProgressWindowController;
class QWidget;

// Reports the opening of a document in a progress window. The window closes by itself when
// all went well; a warning (a missing log, say) keeps it open with its log shown, so the user
// sees what was skipped.
class OpeningProgress : public ProgressSink {
public:
    static std::shared_ptr<OpeningProgress> start(QWidget* parent, const QString& description);
    ~OpeningProgress() override;

    void begin(const QString& description) override;
    void appendLog(const QString& line) override;
    void done() override;

    ProgressWindowController* window() const;

private:
    QPointer<ProgressWindowController> window_;
};
