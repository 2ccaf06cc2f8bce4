#pragma once

#include "document/DocumentEdit.h"

#include <memory>
#include <utility>
#include <vector>

class MediaAsset;

// Moves each of several assets by its own number of seconds, as "Sync to Data" proposes them for the
// videos of a group; undone, every offset is as it was.
class SyncAssets : public DocumentEdit {
public:
    explicit SyncAssets(std::vector<std::pair<std::shared_ptr<MediaAsset>, double>> shifts)
        : shifts_(std::move(shifts)) {}

    QString text() const override { return QStringLiteral("Sync to Data"); }
    void apply(Document& document) override { move(document, 1.0); }
    void revert(Document& document) override { move(document, -1.0); }

    const std::vector<std::pair<std::shared_ptr<MediaAsset>, double>>& shifts() const { return shifts_; }

private:
    void move(Document& document, double sign);

    std::vector<std::pair<std::shared_ptr<MediaAsset>, double>> shifts_;
};
