#include "metrics/MetricKeyList.h"

#include <algorithm>

namespace MetricKeyList {

namespace {
QList<int> validSorted(const QStringList& list, QList<int> rows) {
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    rows.erase(std::remove_if(rows.begin(), rows.end(), [&](int r) { return r < 0 || r >= list.size(); }),
               rows.end());
    return rows;
}
} // namespace

QStringList removeRows(QStringList& list, QList<int> rows) {
    rows = validSorted(list, rows);
    QStringList removed;
    for (int row : rows)
        removed.append(list[row]);
    for (auto it = rows.rbegin(); it != rows.rend(); ++it)
        list.removeAt(*it);
    return removed;
}

QList<int> moveRows(QStringList& list, QList<int> rows, int delta) {
    rows = validSorted(list, rows);
    if (rows.isEmpty() || delta == 0)
        return rows;
    const int step = delta < 0 ? -1 : 1;
    QList<int> moved = rows;
    // Rows nearest the end they move to go first, so that a block moves as one.
    if (step < 0) {
        int limit = 0;
        for (int i = 0; i < moved.size(); ++i) {
            if (moved[i] > limit) {
                list.swapItemsAt(moved[i], moved[i] - 1);
                --moved[i];
            }
            limit = moved[i] + 1;
        }
    } else {
        int limit = int(list.size()) - 1;
        for (int i = int(moved.size()) - 1; i >= 0; --i) {
            if (moved[i] < limit) {
                list.swapItemsAt(moved[i], moved[i] + 1);
                ++moved[i];
            }
            limit = moved[i] - 1;
        }
    }
    return moved;
}

QList<int> insertKeys(QStringList& list, const QStringList& keys, int row) {
    if (row < 0 || row > list.size())
        row = int(list.size());
    QStringList unique;
    for (const QString& key : keys)
        if (!unique.contains(key))
            unique.append(key);
    // Keys already present leave their place first; the insertion point moves with the rows
    // above it.
    for (const QString& key : unique) {
        int at = int(list.indexOf(key));
        if (at < 0)
            continue;
        list.removeAt(at);
        if (at < row)
            --row;
    }
    QList<int> rows;
    for (int i = 0; i < unique.size(); ++i) {
        list.insert(row + i, unique[i]);
        rows.append(row + i);
    }
    return rows;
}

} // namespace MetricKeyList
