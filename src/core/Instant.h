#pragma once

// An absolute point in time: seconds since 2001-01-01 00:00:00 UTC, the reference of the
// event axis and of every instant stored in a document.
class Instant {
public:
    // Seconds between 1970-01-01 and 2001-01-01.
    static constexpr double unixReferenceOffset = 978307200.0;

    constexpr Instant() = default;
    constexpr explicit Instant(double secondsSinceReference) : seconds_(secondsSinceReference) {}

    static Instant now();
    static constexpr Instant fromUnix(double unixSeconds) {
        return Instant(unixSeconds - unixReferenceOffset);
    }
    // The most distant past and future instants, the sentinels of an empty log and of the index after
    // the last record. They are finite so that they compare and print like any other instant.
    static constexpr Instant distantPast() { return Instant(-63114076800.0); }
    static constexpr Instant distantFuture() { return Instant(63113904000.0); }

    constexpr double secondsSinceReference() const { return seconds_; }
    constexpr double unixSeconds() const { return seconds_ + unixReferenceOffset; }

    constexpr Instant operator+(double seconds) const { return Instant(seconds_ + seconds); }
    constexpr Instant operator-(double seconds) const { return Instant(seconds_ - seconds); }
    constexpr double operator-(Instant other) const { return seconds_ - other.seconds_; }
    constexpr Instant& operator+=(double seconds) {
        seconds_ += seconds;
        return *this;
    }

    // Spelled out rather than <=>: moc, which reads the headers of QObjects, cannot parse <compare>.
    constexpr bool operator==(const Instant& o) const { return seconds_ == o.seconds_; }
    constexpr bool operator!=(const Instant& o) const { return seconds_ != o.seconds_; }
    constexpr bool operator<(const Instant& o) const { return seconds_ < o.seconds_; }
    constexpr bool operator<=(const Instant& o) const { return seconds_ <= o.seconds_; }
    constexpr bool operator>(const Instant& o) const { return seconds_ > o.seconds_; }
    constexpr bool operator>=(const Instant& o) const { return seconds_ >= o.seconds_; }

private:
    double seconds_ = 0.0;
};
