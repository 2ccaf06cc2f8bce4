#include "media/IsoBoxReader.h"

#include "media/ContainerMetadata.h"
#include "media/Iso8601.h"
#include "media/MediaFixtures.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>

using namespace MediaFixtures;

namespace {

std::optional<ContainerMetadata> readBytes(const std::string& bytes) {
    MemoryByteSource source(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return IsoBoxReader::read(source);
}

std::optional<std::string> stringOf(const ContainerMetadata& metadata, const std::string& identifier) {
    const MetadataItem* item = metadata.firstItem(identifier);
    return item ? item->stringValue : std::nullopt;
}

const double noonJune1 = 1685620800.0; // 2023-06-01T12:00:00Z

// A file whose media data is a 4 GB hole: reads inside it are counted, and the movie box follows it.
class HugeMovieSource : public ByteSource {
public:
    explicit HugeMovieSource(std::string moov) : moov_(std::move(moov)) {
        head_ = ftyp("mp41") + u32(1) + "mdat" + u64(16 + mdatPayload);
    }
    std::uint64_t size() const override { return head_.size() + mdatPayload + moov_.size(); }
    bool read(std::uint64_t offset, void* into, std::size_t length) override {
        if (offset + length > size())
            return false;
        bytesRead += length;
        auto* out = static_cast<char*>(into);
        for (std::size_t i = 0; i < length; ++i) {
            std::uint64_t at = offset + i;
            if (at < head_.size()) {
                out[i] = head_[at];
            } else if (at < head_.size() + mdatPayload) {
                out[i] = 0;
                ++mediaBytesRead;
            } else {
                out[i] = moov_[at - head_.size() - mdatPayload];
            }
        }
        return true;
    }
    static constexpr std::uint64_t mdatPayload = 4ull << 30;
    std::uint64_t bytesRead = 0;
    std::uint64_t mediaBytesRead = 0;

private:
    std::string head_;
    std::string moov_;
};

} // namespace

TEST(IsoBoxReader, NamesItemsTheWayTheCameraRulesDo) {
    // A QuickTime file: user data under "udta/", 0xA9 spelled "%A9", text entries and DJI's bare text.
    std::string udta = box("udta", box("\xA9"
                                       "dji",
                                       std::string("\x01\x02\x00\x7F", 4)) +
                                       box("\xA9"
                                           "mdl",
                                           quickTimeText("Osmo")) +
                                       box("\xA9"
                                           "gpt",
                                           "-12.5") +
                                       box("LENS", std::string("LAE61\0\0\0", 8)) + box("BIN ", "\x01\x02"));
    auto quickTime = readBytes(movie("qt  ", mvhd(quickTimeSeconds(noonJune1), 600, 1200) + udta +
                                                 keyedMeta({{"com.apple.quicktime.make", "Apple"}})));
    ASSERT_TRUE(quickTime);
    ASSERT_TRUE(quickTime->firstItem("udta/%A9dji"));
    EXPECT_FALSE(stringOf(*quickTime, "udta/%A9dji")); // binary
    EXPECT_EQ(stringOf(*quickTime, "udta/%A9mdl"), "Osmo");
    EXPECT_EQ(stringOf(*quickTime, "udta/%A9gpt"), "-12.5");
    EXPECT_EQ(stringOf(*quickTime, "udta/LENS"), "LAE61"); // zero padding is not text
    EXPECT_FALSE(stringOf(*quickTime, "udta/BIN "));
    EXPECT_EQ(stringOf(*quickTime, "mdta/com.apple.quicktime.make"), "Apple");
    EXPECT_EQ(quickTime->duration, 2.0);
    EXPECT_EQ(quickTime->creationDate, Instant::fromUnix(noonJune1));

    // An MP4: user data under "uiso/"; a keyed meta nested in udta as a full box; a zoned creationdate
    // item wins over the movie header, one without a zone does not.
    std::string keyed = keyedMeta({{"com.apple.quicktime.creationdate", "2023-06-01T14:00:30+0200"}});
    std::string nested = box("meta", u32(0) + keyed.substr(8));
    auto mp4 = readBytes(movie("mp41", mvhd(quickTimeSeconds(noonJune1), 1000, 500) +
                                           box("udta", box("FIRM", "HD7.01.01.90.00") +
                                                           box("\xA9"
                                                               "mdl",
                                                               "FC6310") +
                                                           nested)));
    ASSERT_TRUE(mp4);
    EXPECT_EQ(stringOf(*mp4, "uiso/FIRM"), "HD7.01.01.90.00");
    EXPECT_EQ(stringOf(*mp4, "uiso/%A9mdl"), "FC6310");
    EXPECT_EQ(mp4->creationDate, Instant::fromUnix(noonJune1 + 30));
    EXPECT_EQ(mp4->duration, 0.5);

    auto unzoned = readBytes(
        movie("mp41", mvhd(quickTimeSeconds(noonJune1), 1000, 500) +
                          keyedMeta({{"com.apple.quicktime.creationdate", "2023-06-01T14:00:30"}})));
    ASSERT_TRUE(unzoned);
    EXPECT_EQ(unzoned->creationDate, Instant::fromUnix(noonJune1));

    // A zero creation time is no date; a version-1 header has 64-bit fields.
    auto zero = readBytes(movie("qt  ", mvhd(0, 600, 600)));
    ASSERT_TRUE(zero);
    EXPECT_FALSE(zero->creationDate);
    std::string version1 = fullBox("mvhd",
                                   u64(quickTimeSeconds(noonJune1)) + u64(0) + u32(90000) +
                                       u64(90000ull * 7200) + std::string(80, '\0'),
                                   1);
    auto wide = readBytes(movie("", version1));
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->creationDate, Instant::fromUnix(noonJune1));
    EXPECT_EQ(wide->duration, 7200.0);

    EXPECT_FALSE(readBytes("RIFF\x10\0\0\0AVI LIST"));
    EXPECT_FALSE(readBytes(std::string("\x1A\x45\xDF\xA3", 4) + std::string(60, '\0')));
}

TEST(IsoBoxReader, SkipsMediaDataOfAHugeFile) {
    HugeMovieSource source(box("moov", mvhd(quickTimeSeconds(noonJune1), 600, 600) +
                                           box("udta", box("FIRM", "H19.03.02.00.00"))));
    auto metadata = IsoBoxReader::read(source);
    ASSERT_TRUE(metadata);
    EXPECT_EQ(stringOf(*metadata, "uiso/FIRM"), "H19.03.02.00.00");
    EXPECT_EQ(metadata->duration, 1.0);
    EXPECT_EQ(source.mediaBytesRead, 0u);
    EXPECT_LT(source.bytesRead, 4096u);
}

TEST(IsoBoxReader, BrokenFilesYieldWhatTheyHoldAndNeverMore) {
    const std::string good = movie("qt  ", mvhd(quickTimeSeconds(noonJune1), 600, 600) +
                                               box("udta", box("\xA9"
                                                               "dji",
                                                               "x")) +
                                               keyedMeta({{"com.apple.quicktime.make", "Apple"}}));
    // Every truncation: no crash, and nothing that was not in the file.
    for (std::size_t length = 0; length <= good.size(); ++length) {
        auto metadata = readBytes(good.substr(0, length));
        if (!metadata)
            continue;
        for (const auto& item : metadata->items) {
            EXPECT_TRUE(item.identifier == "udta/%A9dji" ||
                        item.identifier == "mdta/com.apple.quicktime.make")
                << item.identifier;
        }
    }

    // Sizes past the end, zero sizes, sizes smaller than a header, 64-bit sizes, and key tables
    // claiming four billion entries.
    std::string hugeKeys =
        box("meta", fullBox("hdlr", u32(0) + "mdta" + std::string(12, '\0')) +
                        box("keys", u32(0) + u32(0xFFFFFFFF) + u32(12) + "mdtaabcd") +
                        box("ilst", box(u32(0xFFFFFFFF), box("data", u32(1) + u32(0) + "x"))));
    std::vector<std::string> broken = {
        ftyp("qt  ") + u32(0xFFFFFFF0) + "moov" + mvhd(1, 1, 1),
        ftyp("qt  ") + u32(0) + "moov" + mvhd(quickTimeSeconds(noonJune1), 600, 600),
        ftyp("qt  ") + u32(4) + "moov" + std::string(64, '\0'),
        ftyp("qt  ") + u32(1) + "moov" + u64(0xFFFFFFFFFFFFFFFF) + mvhd(1, 1, 1),
        movie("qt  ", box("udta", u32(0) + "FIRM" + u32(3) +
                                      "\xA9"
                                      "mdl")),
        movie("qt  ", box("udta", box("\xA9"
                                      "mdl",
                                      u16(0xFFFF) + u16(0) + "short"))),
        movie("qt  ", hugeKeys),
        movie("mp41",
              box("meta", box("meta", box("meta", box("meta", box("meta", box("meta", box("meta", "")))))))),
        movie("mp41", box("mvhd", "\x01")),
    };
    for (const auto& bytes : broken) {
        auto metadata = readBytes(bytes);
        ASSERT_TRUE(metadata);
        EXPECT_LE(metadata->items.size(), 2u);
    }
    EXPECT_EQ(readBytes(broken[1])->creationDate, Instant::fromUnix(noonJune1));
    // A text entry longer than its box is not taken as text.
    ASSERT_TRUE(readBytes(broken[5])->firstItem("udta/%A9mdl"));
    EXPECT_FALSE(stringOf(*readBytes(broken[5]), "udta/%A9mdl"));

    // Random damage to a good file.
    std::mt19937 random(20230601);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = good;
        for (int flips = 0; flips < 4; ++flips)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        readBytes(bytes);
    }
}

TEST(IsoBoxReader, Iso8601NeedsAZone) {
    EXPECT_EQ(parseIso8601WithZone("2019-07-24T11:25:40+0300"), Instant::fromUnix(1563956740));
    EXPECT_EQ(parseIso8601WithZone("2019-07-24T08:25:40Z"), Instant::fromUnix(1563956740));
    EXPECT_EQ(parseIso8601WithZone("2019-07-24T04:55:40.5-03:30"), Instant::fromUnix(1563956740.5));
    EXPECT_FALSE(parseIso8601WithZone("2019-07-24T11:25:40"));
    EXPECT_FALSE(parseIso8601WithZone("2019-02-29T11:25:40Z"));
    EXPECT_FALSE(parseIso8601WithZone("2019-07-24 11:25:40Z"));
    EXPECT_FALSE(parseIso8601WithZone("2019-07-24T11:25:40+03:00x"));
}

TEST(IsoBoxReader, TellsATimedMetadataTrackFromThePictureAndSound) {
    // A GoPro-style "meta" track: whether to look for camera GPS in the file at all.
    auto withTrack = readBytes(gpmdMovie({std::vector<std::uint8_t>(16, 0)}, noonJune1));
    ASSERT_TRUE(withTrack);
    EXPECT_TRUE(withTrack->hasTimedMetadataTrack);
    auto without = readBytes(movie("isom", mvhd(0, 1000, 5000)));
    ASSERT_TRUE(without);
    EXPECT_FALSE(without->hasTimedMetadataTrack);
}
