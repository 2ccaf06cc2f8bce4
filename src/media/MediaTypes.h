#pragma once

#include <QString>
#include <QUrl>

// The type tests of the add path, by the file's MIME type (its content and its name).
// Video, movie and audio types make a video asset: audio-only files are shown on the timeline too.
bool isSupportedVideo(const QUrl& url);
// Image types make a photo. Logs the type found (" UTI = <type>").
bool isSupportedPhoto(const QUrl& url);
// The MIME type name the tests see, for messages.
QString mediaTypeName(const QUrl& url);
