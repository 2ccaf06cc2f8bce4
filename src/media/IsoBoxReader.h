#pragma once

#include "media/ByteSource.h"
#include "media/ContainerMetadata.h"

#include <optional>

// Reads the metadata of a QuickTime or ISO base media file (MOV, MP4, M4V, 3GP) from its boxes:
// ftyp for the brand, moov/mvhd for the creation time and duration, moov/udta for user data, and
// meta boxes (keys + ilst) at moov and moov/udta. Media data is skipped, never read, and every
// size and count in the file is checked against the bytes actually there.
class IsoBoxReader {
public:
    // None when the bytes do not begin like such a file.
    static std::optional<ContainerMetadata> read(ByteSource& source);
};
