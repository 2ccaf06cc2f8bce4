#pragma once

#include <QVariant>
#include <QVariantList>
#include <algorithm>

// The checks a window's state record is read with: a key that is missing or of the wrong type is
// ignored. A list read back from JSON arrives as a list of variants.
namespace StateRecordValues {

inline bool isTextList(const QVariant& value) {
    if (value.typeId() == QMetaType::QStringList)
        return true;
    if (value.typeId() != QMetaType::QVariantList)
        return false;
    const QVariantList list = value.toList();
    return std::all_of(list.begin(), list.end(),
                       [](const QVariant& item) { return item.typeId() == QMetaType::QString; });
}

} // namespace StateRecordValues
