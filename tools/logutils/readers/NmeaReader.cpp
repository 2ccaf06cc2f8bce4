#include "readers/NmeaReader.h"

#include "readers/CsvCells.h"
#include "readers/TimeText.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();
constexpr double knotsPerMetrePerSecond = 3600.0 / 1852.0;
constexpr double knotsPerKilometrePerHour = 1000.0 / 1852.0;
constexpr int maximumFields = 40;

// The columns a log can yield, in the order they are first met.
enum Slot {
    lat,
    lon,
    sog,
    cog,
    heading,
    magneticHeading,
    boatSpeed,
    awa,
    aws,
    twa,
    tws,
    twd,
    heel,
    trim,
    pitch,
    rudder,
    depth,
    waterTemperature,
    slotCount
};

constexpr std::array<const char*, slotCount> slotNames = {
    "Lat", "Lon", "SOG", "COG",  "Heading", "MagneticHeading", "BoatSpeed", "AWA",   "AWS",
    "TWA", "TWS", "TWD", "Heel", "Trim",    "Pitch",           "Rudder",    "Depth", "WaterTemperature"};

bool isSentenceAddress(std::string_view text) {
    // "$GPRMC," or "!AIVDM,": five upper-case letters or digits after the start mark.
    if (text.size() < 7 || (text[0] != '$' && text[0] != '!'))
        return false;
    for (std::size_t i = 1; i < 6; ++i) {
        char c = text[i];
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
    }
    return text[6] == ',';
}

// Where the sentence of a line starts: after a tag block ("\s:gps,c:1400000000*1F\") and after
// whatever time stamp a logger put before it.
std::size_t sentenceStart(std::string_view line) {
    std::size_t from = 0;
    if (!line.empty() && line.front() == '\\') {
        std::size_t close = line.find('\\', 1);
        from = close == std::string_view::npos ? line.size() : close + 1;
    }
    for (std::size_t i = from; i < line.size(); ++i)
        if (line[i] == '$' || line[i] == '!')
            return i;
    return std::string_view::npos;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

bool digits(std::string_view text, std::size_t from, std::size_t count, int& value) {
    if (text.size() < from + count)
        return false;
    value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        value = value * 10 + (text[i] - '0');
    }
    return true;
}

class Reader {
public:
    Reader(LineReader& lines, InputTable& table) : lines_(lines), table_(table) { slotColumn_.fill(-1); }

    bool run(std::string& error) {
        table_.kind = "NMEA 0183";
        std::string_view line;
        while (lines_.next(line))
            sentence(line);
        if (!lines_.readError().empty()) {
            error = "read error: " + lines_.readError();
            return false;
        }
        if (sentences_ == 0) {
            error = "no NMEA sentences";
            return false;
        }
        if (!timeTalker_) {
            error = "no time: the log has no RMC, GGA or ZDA sentence with a time";
            return false;
        }
        if (!baseDay_) {
            error = "no date: no RMC or ZDA sentence of the log carries one, so its times of day cannot be "
                    "placed";
            return false;
        }
        const double base = static_cast<double>(*baseDay_) * 86400.0;
        for (double& t : table_.times)
            t += base;
        if (table_.rowCount() > 0 &&
            (!plausibleTime(table_.times.front()) || !plausibleTime(table_.times.back()))) {
            error = "the dates of the log lie outside the years 1900 to 2199";
            return false;
        }
        table_.utcTimes = true;
        table_.finishColumns();
        return true;
    }

private:
    using Fields = std::array<std::string_view, maximumFields>;

    void skipLine(std::string_view reason) { table_.skipped.skipLine(lines_.lineNumber(), reason); }
    void skipValue(std::string_view reason, std::string_view text) {
        table_.skipped.skipValue(lines_.lineNumber(), reason, text);
    }

    void sentence(std::string_view line) {
        while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r'))
            line.remove_suffix(1);
        if (line.empty())
            return;
        std::size_t start = sentenceStart(line);
        if (start == std::string_view::npos) {
            skipLine("not an NMEA sentence");
            return;
        }
        line.remove_prefix(start);
        // Checksum: the exclusive or of the bytes between the start mark and "*".
        std::size_t star = line.find('*');
        if (star != std::string_view::npos) {
            if (line.size() < star + 3 || hexDigit(line[star + 1]) < 0 || hexDigit(line[star + 2]) < 0) {
                skipLine("truncated sentence");
                return;
            }
            unsigned sum = 0;
            for (std::size_t i = 1; i < star; ++i)
                sum ^= static_cast<unsigned char>(line[i]);
            if (sum != static_cast<unsigned>(hexDigit(line[star + 1]) * 16 + hexDigit(line[star + 2]))) {
                skipLine("bad checksum");
                return;
            }
            line = line.substr(0, star);
        }
        if (!isSentenceAddress(line)) {
            skipLine("truncated sentence");
            return;
        }
        ++sentences_;
        if (line[0] == '!' || line[1] == 'P')
            return; // AIS and proprietary sentences
        talker_ = line.substr(1, 2);
        const std::string_view type = line.substr(3, 3);
        std::string_view body = line.substr(7);
        count_ = 0;
        while (true) {
            std::size_t comma = body.find(',');
            if (count_ == maximumFields)
                break;
            fields_[count_++] = body.substr(0, comma);
            if (comma == std::string_view::npos)
                break;
            body.remove_prefix(comma + 1);
        }
        dispatch(type);
    }

    void dispatch(std::string_view type) {
        if (type == "RMC")
            return rmc();
        if (type == "GGA")
            return gga();
        if (type == "GLL")
            return gll();
        if (type == "ZDA")
            return zda();
        if (type == "VTG")
            return vtg();
        if (type == "HDG")
            return hdg();
        if (type == "HDT")
            return (void)(needs(1) && record() && set(heading, 0));
        if (type == "HDM")
            return magnetic(0, std::nullopt);
        if (type == "VHW")
            return vhw();
        if (type == "MWV")
            return mwv();
        if (type == "VWR")
            return windLeftRight(awa, aws);
        if (type == "VWT")
            return windLeftRight(twa, tws);
        if (type == "MWD")
            return mwd();
        if (type == "XDR")
            return xdr();
        if (type == "RSA")
            return (void)(needs(2) && record() && field(1) == "A" && set(rudder, 0));
        if (type == "DPT")
            return (void)(needs(1) && record() && set(depth, 0));
        if (type == "DBT")
            return dbt();
        if (type == "MTW")
            return (void)(needs(1) && record() && set(waterTemperature, 0));
        // Anything else carries nothing for the log.
    }

    std::string_view field(int i) const {
        return i < count_ ? fields_[static_cast<std::size_t>(i)] : std::string_view{};
    }

    // A sentence shorter than its kind is cut off: it is dropped whole.
    bool needs(int fieldCount) {
        if (count_ >= fieldCount)
            return true;
        skipLine("truncated sentence");
        return false;
    }

    // Whether the sentence can go into a record: not before the first time, nor after a time
    // that went backwards.
    bool record() {
        if (timeValid_)
            return true;
        if (!timeTalker_)
            skipLine("before the first time sentence");
        return false;
    }

    // The number of field i: none when empty; a malformed one is counted.
    std::optional<double> number(int i) {
        std::string_view text = field(i);
        if (text.empty())
            return std::nullopt;
        double value = 0.0;
        const char* p = text.data();
        const char* end = p + text.size();
        CsvCells::Cell cell = cells_.number(p, end, value);
        if (cell == CsvCells::Cell::number && p == end)
            return value;
        if (cell != CsvCells::Cell::empty)
            skipValue("malformed number", text);
        return std::nullopt;
    }

    bool set(Slot slot, int i, double factor = 1.0) {
        if (auto value = number(i))
            put(slot, *value * factor);
        return true;
    }

    void put(Slot slot, double value) {
        if (!std::isfinite(value))
            return;
        int& column = slotColumn_[slot];
        if (column < 0) {
            column = static_cast<int>(table_.columns.size());
            InputColumn added;
            added.name = slotNames[slot];
            added.values.assign(table_.rowCount(), missing);
            table_.columns.push_back(std::move(added));
        }
        InputColumn& target = table_.columns[static_cast<std::size_t>(column)];
        target.values.back() = value;
        ++target.numbers;
    }

    // Time sentences -----------------------------------------------------------------------

    std::optional<double> timeOfDay(int i) {
        std::string_view text = field(i);
        int h = 0, m = 0, s = 0;
        if (text.empty())
            return std::nullopt;
        if (!digits(text, 0, 2, h) || !digits(text, 2, 2, m) || !digits(text, 4, 2, s) || h > 23 || m > 59 ||
            s > 60) {
            skipValue("malformed time", text);
            return std::nullopt;
        }
        double fraction = 0.0;
        if (text.size() > 6) {
            double scale = 0.1;
            if (text[6] != '.') {
                skipValue("malformed time", text);
                return std::nullopt;
            }
            for (std::size_t k = 7; k < text.size(); ++k, scale /= 10) {
                if (text[k] < '0' || text[k] > '9') {
                    skipValue("malformed time", text);
                    return std::nullopt;
                }
                fraction += (text[k] - '0') * scale;
            }
        }
        return h * 3600.0 + m * 60.0 + s + fraction;
    }

    std::optional<std::int64_t> dateDDMMYY(int i) {
        std::string_view text = field(i);
        int d = 0, m = 0, y = 0;
        if (text.empty())
            return std::nullopt;
        if (text.size() != 6 || !digits(text, 0, 2, d) || !digits(text, 2, 2, m) || !digits(text, 4, 2, y) ||
            d < 1 || d > 31 || m < 1 || m > 12) {
            skipValue("malformed date", text);
            return std::nullopt;
        }
        return daysFromCivil(y < 80 ? 2000 + y : 1900 + y, m, d);
    }

    // Only the first talker that gives times and positions does: a second receiver on the bus
    // would otherwise make the clock and the track jump between two sources.
    bool fromTimeTalker() {
        if (!timeTalker_)
            timeTalker_ = std::string(talker_);
        return *timeTalker_ == talker_;
    }
    bool fromPositionTalker() {
        if (!positionTalker_)
            positionTalker_ = std::string(talker_);
        return *positionTalker_ == talker_;
    }

    // A time (of day, with a date when the sentence has one) from the time source. Times are
    // kept relative to the log's first day until a date places them.
    void time(std::optional<double> tod, std::optional<std::int64_t> day) {
        if (!tod)
            return;
        if (day) {
            if (!baseDay_)
                baseDay_ = *day - relativeDay_;
            else
                relativeDay_ = *day - *baseDay_;
        } else if (haveTime_ && *tod < lastTimeOfDay_ - 43200.0) {
            ++relativeDay_; // past midnight, and no date to say so
        }
        const double t = static_cast<double>(relativeDay_) * 86400.0 + *tod;
        if (haveTime_ && t < rowTime_ - 1e-6) {
            skipLine("time going backwards");
            timeValid_ = false;
            return;
        }
        haveTime_ = true;
        timeValid_ = true;
        lastTimeOfDay_ = *tod;
        if (table_.rowCount() == 0 || t > rowTime_ + 1e-6) {
            rowTime_ = t;
            table_.times.push_back(t);
            for (auto& column : table_.columns)
                column.values.push_back(missing);
        }
    }

    std::optional<double> coordinate(int value, int hemisphere, int degreeDigits) {
        std::string_view text = field(value);
        std::string_view side = field(hemisphere);
        if (text.empty())
            return std::nullopt;
        auto number = this->number(value);
        if (!number)
            return std::nullopt;
        // dddmm.mmmm: degrees, then minutes.
        const double degrees = std::floor(*number / 100.0);
        const double minutes = *number - degrees * 100.0;
        const double limit = degreeDigits == 2 ? 90.0 : 180.0;
        const bool negative = side == "S" || side == "W";
        if (*number < 0 || minutes >= 60.0 || degrees > limit ||
            !(side == (degreeDigits == 2 ? "N" : "E") || negative)) {
            skipValue("malformed position", text);
            return std::nullopt;
        }
        const double result = degrees + minutes / 60.0;
        if (result > limit) {
            skipValue("malformed position", text);
            return std::nullopt;
        }
        return negative ? -result : result;
    }

    // GLL gives fewer decimals than RMC and GGA on many units: in a record that has either, it
    // is not used.
    void position(int latField, int lonField, bool fromGll = false) {
        if (!fromPositionTalker() || (fromGll && fixRow_ == table_.rowCount()))
            return;
        auto la = coordinate(latField, latField + 1, 2);
        auto lo = coordinate(lonField, lonField + 1, 3);
        if (!la || !lo)
            return;
        if (*la == 0.0 && *lo == 0.0) {
            skipValue("position 0,0", field(latField));
            return;
        }
        put(lat, *la);
        put(lon, *lo);
        if (!fromGll)
            fixRow_ = table_.rowCount();
    }

    void noteVariation(int valueField, int sideField) {
        std::string_view side = field(sideField);
        if (field(valueField).empty() || (side != "E" && side != "W"))
            return;
        if (auto value = number(valueField))
            variation_ = side == "E" ? *value : -*value;
    }

    void rmc() {
        if (!needs(9))
            return;
        noteVariation(9, 10);
        if (!fromTimeTalker())
            return;
        time(timeOfDay(0), dateDDMMYY(8));
        if (!record() || field(1) != "A")
            return; // "V": the receiver has no fix
        position(2, 4);
        set(sog, 6);
        set(cog, 7);
    }

    void gga() {
        if (!needs(6))
            return;
        if (fromTimeTalker())
            time(timeOfDay(0), std::nullopt);
        if (!record() || field(5) == "0" || field(5).empty())
            return;
        position(1, 3);
    }

    void gll() {
        if (!needs(4) || !record())
            return;
        if (count_ > 5 && field(5) == "V")
            return;
        position(0, 2, true);
    }

    void zda() {
        if (!needs(1) || !fromTimeTalker())
            return;
        std::optional<std::int64_t> day;
        int d = 0, m = 0, y = 0;
        if (!field(1).empty() || !field(2).empty() || !field(3).empty()) {
            // Some units write a two-digit year.
            const std::size_t yearDigits = field(3).size();
            if (digits(field(1), 0, 2, d) && field(1).size() == 2 && digits(field(2), 0, 2, m) &&
                field(2).size() == 2 && (yearDigits == 4 || yearDigits == 2) &&
                digits(field(3), 0, yearDigits, y) && d >= 1 && d <= 31 && m >= 1 && m <= 12)
                day = daysFromCivil(yearDigits == 4 ? y : (y < 80 ? 2000 + y : 1900 + y), m, d);
            else
                skipValue("malformed date", field(1));
        }
        time(timeOfDay(0), day);
    }

    void vtg() {
        if (!needs(4) || !record())
            return;
        if (field(1) == "T") {
            // $--VTG,cog,T,cogMagnetic,M,sog,N,kmh,K
            set(cog, 0);
            if (!field(4).empty())
                set(sog, 4);
            else if (count_ > 6)
                set(sog, 6, knotsPerKilometrePerHour);
        } else {
            // The old form without the unit letters: cog, cogMagnetic, sog, kmh.
            set(cog, 0);
            set(sog, 2);
        }
    }

    void magnetic(int valueField, std::optional<double> deviation) {
        if (!needs(valueField + 1) || !record())
            return;
        auto value = number(valueField);
        if (!value)
            return;
        if (variation_)
            put(heading, std::fmod(*value + deviation.value_or(0.0) + *variation_ + 720.0, 360.0));
        else
            put(magneticHeading, *value + deviation.value_or(0.0));
        headingSeen_ = true;
    }

    void hdg() {
        if (!needs(1))
            return;
        noteVariation(3, 4);
        std::optional<double> deviation;
        if (field(2) == "E" || field(2) == "W")
            if (auto value = number(1))
                deviation = field(2) == "E" ? *value : -*value;
        magnetic(0, deviation);
    }

    void vhw() {
        if (!needs(6) || !record())
            return;
        // A VHW heading echoes the compass; it counts only in logs without a heading sentence.
        if (!headingSeen_ && !field(0).empty())
            set(heading, 0);
        if (!field(4).empty())
            set(boatSpeed, 4);
        else if (count_ > 6)
            set(boatSpeed, 6, knotsPerKilometrePerHour);
    }

    std::optional<double> speedInKnots(int valueField, std::string_view unit) {
        auto value = number(valueField);
        if (!value)
            return std::nullopt;
        if (unit == "M")
            return *value * knotsPerMetrePerSecond;
        if (unit == "K")
            return *value * knotsPerKilometrePerHour;
        return *value;
    }

    static double signedAngle(double degrees) {
        double a = std::fmod(degrees, 360.0);
        if (a > 180.0)
            a -= 360.0;
        else if (a <= -180.0)
            a += 360.0;
        return a;
    }

    void mwv() {
        if (!needs(4) || !record())
            return;
        if (count_ > 4 && field(4) == "V")
            return; // the instrument says the data is not valid
        const bool relative = field(1) == "R";
        if (!relative && field(1) != "T")
            return;
        if (auto angle = number(0))
            put(relative ? awa : twa, signedAngle(*angle));
        if (auto speed = speedInKnots(2, field(3)))
            put(relative ? aws : tws, *speed);
    }

    // $--VWR,angle,L/R,kn,N,m/s,M,km/h,K: the angle off the bow, on the left negative.
    void windLeftRight(Slot angleSlot, Slot speedSlot) {
        if (!needs(2) || !record())
            return;
        if (auto angle = number(0)) {
            if (field(1) == "L")
                put(angleSlot, -*angle);
            else if (field(1) == "R")
                put(angleSlot, *angle);
        }
        std::optional<double> speed;
        if (!field(2).empty())
            speed = number(2);
        else if (!field(4).empty())
            speed = speedInKnots(4, "M");
        else if (!field(6).empty())
            speed = speedInKnots(6, "K");
        if (speed)
            put(speedSlot, *speed);
    }

    void mwd() {
        if (!needs(4) || !record())
            return;
        if (field(1) == "T" && !field(0).empty())
            set(twd, 0);
        if (!field(4).empty())
            set(tws, 4);
        else if (!field(6).empty())
            if (auto speed = speedInKnots(6, "M"))
                put(tws, *speed);
    }

    static bool nameHas(std::string_view name, std::string_view part) {
        if (name.size() < part.size())
            return false;
        for (std::size_t i = 0; i + part.size() <= name.size(); ++i) {
            bool same = true;
            for (std::size_t k = 0; k < part.size() && same; ++k)
                same = std::toupper(static_cast<unsigned char>(name[i + k])) == part[k];
            if (same)
                return true;
        }
        return false;
    }

    // Transducer quadruples: type, value, unit, name. Angles only: heel, pitch or trim, rudder.
    void xdr() {
        if (!needs(4) || !record())
            return;
        for (int i = 0; i + 3 < count_; i += 4) {
            if (field(i) != "A")
                continue;
            std::string_view name = field(i + 3);
            std::optional<Slot> slot;
            if (nameHas(name, "HEEL") || nameHas(name, "ROLL"))
                slot = heel;
            else if (nameHas(name, "PITCH") || nameHas(name, "PTCH"))
                slot = pitch;
            else if (nameHas(name, "TRIM"))
                slot = trim;
            else if (nameHas(name, "RUDDER") || nameHas(name, "RUD"))
                slot = rudder;
            if (slot)
                set(*slot, i + 1);
        }
    }

    void dbt() {
        if (!needs(3) || !record())
            return;
        if (!field(2).empty())
            set(depth, 2);
        else if (!field(0).empty())
            set(depth, 0, 0.3048);
    }

    LineReader& lines_;
    InputTable& table_;
    CsvCells cells_{','};
    Fields fields_;
    int count_ = 0;
    std::string_view talker_;
    std::array<int, slotCount> slotColumn_;
    std::int64_t sentences_ = 0;
    std::optional<std::string> timeTalker_;
    std::optional<std::string> positionTalker_;
    std::optional<std::int64_t> baseDay_;
    std::int64_t relativeDay_ = 0;
    double lastTimeOfDay_ = 0.0;
    double rowTime_ = 0.0;
    bool haveTime_ = false;
    bool timeValid_ = false;
    bool headingSeen_ = false;
    std::size_t fixRow_ = 0; // row count when an RMC or GGA position was last put, so its row
    std::optional<double> variation_;
};

} // namespace

bool NmeaReader::recognises(std::string_view head) {
    int sentences = 0, others = 0;
    std::size_t from = 0;
    for (int n = 0; n < 50 && from < head.size(); ++n) {
        std::size_t end = head.find('\n', from);
        if (end == std::string_view::npos)
            break; // a line cut by the end of the head says nothing
        std::string_view line = head.substr(from, end - from);
        from = end + 1;
        if (line.find_first_not_of(" \t\r") == std::string_view::npos)
            continue;
        std::size_t start = sentenceStart(line);
        if (start != std::string_view::npos && isSentenceAddress(line.substr(start)))
            ++sentences;
        else
            ++others;
    }
    if (sentences == 0 && from == 0)
        return isSentenceAddress(head.substr(std::min(head.size(), sentenceStart(head))));
    return sentences > 0 && sentences >= others;
}

bool NmeaReader::read(LineReader& lines, InputTable& table, std::string& error) {
    return Reader(lines, table).run(error);
}
