#include "core/DateFormat.h"
#include "core/Instant.h"
#include "core/TimeZone.h"

#include <gtest/gtest.h>

TEST(Instant, ReferenceIsTwoThousandOne) {
    EXPECT_EQ(Instant::fromUnix(978307200.0).secondsSinceReference(), 0.0);
    EXPECT_EQ(Instant(10.5).unixSeconds(), 978307210.5);
    EXPECT_LT(Instant::distantPast(), Instant::fromUnix(-1e10));
    EXPECT_GT(Instant::distantFuture(), Instant::fromUnix(1e10));
}

TEST(TimeZone, NamedAndFixedZones) {
    // 2023-06-06 12:00 UTC is summer time in Berlin, 2023-01-15 is not.
    auto berlin = TimeZone::fromIdentifier("Europe/Berlin");
    ASSERT_TRUE(berlin);
    EXPECT_EQ(berlin->secondsFromGMT(Instant::fromUnix(1686052800)), 7200);
    EXPECT_EQ(berlin->secondsFromGMT(Instant::fromUnix(1673784000)), 3600);
    EXPECT_EQ(berlin->identifier(), "Europe/Berlin");

    auto fixed = TimeZone::fromSecondsFromGMT(-(3 * 3600 + 30 * 60));
    ASSERT_TRUE(fixed);
    EXPECT_EQ(fixed->identifier(), "GMT-0330");
    EXPECT_EQ(fixed->secondsFromGMT(Instant::fromUnix(0)), -12600);
    // A fixed name read back gives the same zone.
    auto reread = TimeZone::fromIdentifier("GMT-0330");
    ASSERT_TRUE(reread);
    EXPECT_EQ(*reread, *fixed);
    EXPECT_EQ(TimeZone::fromIdentifier("GMT+02:00")->secondsFromGMT(Instant()), 7200);

    EXPECT_FALSE(TimeZone::fromIdentifier("Mars/Olympus_Mons"));
    EXPECT_FALSE(TimeZone::fromIdentifier(""));
    EXPECT_FALSE(TimeZone::fromSecondsFromGMT(19 * 3600));
    EXPECT_EQ(TimeZone::utc().secondsFromGMT(Instant()), 0);
}

TEST(DateFormat, PatternsAreUsedAsWritten) {
    DateFormat withFraction("yyyy-MM-dd'T'HH:mm:ss.SZ", TimeZone::utc());
    auto parsed = withFraction.parse("2023-06-06T12:05:00.5+0200");
    ASSERT_TRUE(parsed);
    EXPECT_DOUBLE_EQ(parsed->unixSeconds(), 1686052800.0 - 7200 + 300.5);
    EXPECT_EQ(withFraction.format(Instant::fromUnix(1686052800.25)), "2023-06-06T12:00:00.2+0000");

    DateFormat fileName("yyyy-MM-dd_HH-mm-ss", TimeZone::utc());
    EXPECT_EQ(fileName.parse("2023-06-06_12-00-00")->unixSeconds(), 1686052800.0);
    // Strict: trailing text, impossible dates and other shapes do not parse.
    EXPECT_FALSE(fileName.parse("2023-06-06_12-00-00x"));
    EXPECT_FALSE(fileName.parse("2023-02-30_12-00-00"));
    EXPECT_FALSE(fileName.parse("yesterday"));

    DateFormat berlin("yyyy-MM-dd HH:mm", *TimeZone::fromIdentifier("Europe/Berlin"));
    EXPECT_EQ(berlin.format(Instant::fromUnix(1686052800)), "2023-06-06 14:00");
}
