#include "core/StreamReader.h"

#include <QBuffer>
#include <gtest/gtest.h>

namespace {

QStringList readAll(const QByteArray& bytes, qint64 chunkSize, const QByteArray& delimiter) {
    QByteArray data = bytes;
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    StreamReader reader(&buffer, chunkSize, delimiter);
    QStringList lines;
    while (auto line = reader.nextLine())
        lines << *line;
    EXPECT_TRUE(reader.isAtEOF());
    EXPECT_FALSE(reader.nextLine());
    return lines;
}

} // namespace

// Every chunk size cuts somewhere else: inside a line, inside a two- and a four-byte character,
// between the bytes of a two-byte delimiter. The lines come out whole, an empty one included, and
// the last piece without delimiter is not lost.
TEST(StreamReader, CutsOnlyAtTheDelimiter) {
    const QStringList expected{QStringLiteral("Lesen: héllo wörld"), QString(), QStringLiteral("Bö 🚤 3.5 kn"),
                               QStringLiteral("last ö")};
    const QByteArray text = expected.join('\n').toUtf8();
    QByteArray crlf = expected.join(QStringLiteral("\r\n")).toUtf8();
    for (qint64 chunk : {1, 2, 3, 5, 7, 4096}) {
        EXPECT_EQ(readAll(text, chunk, "\n"), expected) << "chunk " << chunk;
        EXPECT_EQ(readAll(crlf, chunk, "\r\n"), expected) << "chunk " << chunk;
    }
    EXPECT_EQ(readAll("one\ntwo\n", 3, "\n"), (QStringList{"one", "two"}));
    EXPECT_TRUE(readAll("", 3, "\n").isEmpty());
}
