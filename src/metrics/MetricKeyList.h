#pragma once

#include <QList>
#include <QStringList>
#include <algorithm>
#include <functional>

// The edits of an ordered list of metric keys, as the overlay and table choosers make them. A key
// appears at most once in a list: a number shown twice says nothing new and takes a row.
namespace MetricKeyList {

// Appends the keys at `rows` of `source`, taking the rows in descending order (so rows 2 and 5
// append row 5's key first). Keys already in the list are left where they are. Calls `appended`
// after each append. Returns the number of keys appended.
template <class Appended>
int appendRows(QStringList& list, const QStringList& source, QList<int> rows, Appended appended) {
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    int count = 0;
    for (int row : rows) {
        if (row < 0 || row >= source.size() || list.contains(source[row]))
            continue;
        list.append(source[row]);
        ++count;
        appended();
    }
    return count;
}

// Removes the rows; returns the keys removed, in list order.
QStringList removeRows(QStringList& list, QList<int> rows);

// Moves the rows up (`delta` < 0) or down by one place each, keeping their order; a block at an
// end stays. Returns the rows where they now are.
QList<int> moveRows(QStringList& list, QList<int> rows, int delta);

// Inserts `keys` before `row` (at the end for -1 or past the end), moving any that are already
// in the list. Returns the rows where they now are.
QList<int> insertKeys(QStringList& list, const QStringList& keys, int row);

} // namespace MetricKeyList
