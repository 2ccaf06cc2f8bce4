#pragma once

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QStringList>
#include <QUrl>
#include <QWidget>
#include <memory>

// Sends a drag entering `target` (QEvent::DragEnter) or a drop on it (QEvent::Drop) that carries
// `files`, as the file manager would; answers whether the widget took it.
inline bool sendFileDrag(QWidget* target, QEvent::Type type, const QStringList& files) {
    QMimeData mime;
    QList<QUrl> urls;
    for (const QString& file : files)
        urls << QUrl::fromLocalFile(file);
    mime.setUrls(urls);
    std::unique_ptr<QDropEvent> drop;
    if (type == QEvent::DragEnter)
        drop = std::make_unique<QDragEnterEvent>(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton,
                                                 Qt::NoModifier);
    else
        drop = std::make_unique<QDropEvent>(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton,
                                            Qt::NoModifier);
    drop->ignore();
    QApplication::sendEvent(target, drop.get());
    return drop->isAccepted();
}
