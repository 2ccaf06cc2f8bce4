#include "readers/NmeaReader.h"

#include "readers/CsvCells.h"
#include "readers/TimeText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

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

// Where positions come from: one sentence type of one talker ("GPRMC"), so that two receivers,
// or RMC and GGA of one, are told apart.
enum class SourceKind { rmc, gga, gll }; // preferred in this order among equally fresh sources

struct Fix {
    double time; // on the reader's clock
    double lat, lon;
    std::int64_t line;
};
// Kept for a whole log: not zeroed as they grow, and on huge pages when large.
using Fixes = std::vector<Fix, UninitializedAllocator<Fix>>;

struct Source {
    std::string name;
    SourceKind kind;
    bool dated = false; // its sentences carry the date
    Fixes fixes;
    // How far behind the newest fix of any source so far each fix was, in tenths of a second (the
    // last bin holds all from lagBins - 1 on): a median without keeping every lag.
    static constexpr int lagBins = 600;
    std::array<std::int64_t, lagBins> lags{};

    void noteLag(double seconds) {
        // (Times read from text are a hair off their tenths.)
        ++lags[static_cast<std::size_t>(std::clamp(seconds * 10.0 + 1e-6, 0.0, double(lagBins - 1)))];
    }
    double medianLag() const {
        std::int64_t seen = 0;
        for (int bin = 0; bin < lagBins; ++bin)
            if ((seen += lags[static_cast<std::size_t>(bin)]) * 2 > static_cast<std::int64_t>(fixes.size()))
                return bin / 10.0;
        return (lagBins - 1) / 10.0;
    }
};

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
        writePositions();
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

    // Of several position sources the positions come from one receiver: mixing two makes the
    // track jump, and one that lags a second behind puts every point metres off. The freshest
    // sources are those whose fixes are newest as they arrive (by the median lag); among those a
    // dated one (RMC) is preferred, then GGA over GLL (GLL gives fewer decimals on many units),
    // then the one with more fixes. The fixes go in at their own times: into the row of that
    // time, or a row of their own.
    void writePositions() {
        if (sources_.empty())
            return;
        std::vector<double> lags;
        for (const Source& s : sources_)
            lags.push_back(s.medianLag());
        const double freshest = *std::min_element(lags.begin(), lags.end());
        std::size_t best = sources_.size();
        for (std::size_t k = 0; k < sources_.size(); ++k) {
            if (lags[k] > freshest + 0.5)
                continue;
            if (best == sources_.size()) {
                best = k;
                continue;
            }
            const Source &a = sources_[k], &b = sources_[best];
            if (std::tuple(!a.dated, a.kind, -static_cast<std::int64_t>(a.fixes.size())) <
                std::tuple(!b.dated, b.kind, -static_cast<std::int64_t>(b.fixes.size())))
                best = k;
        }
        // The other sentences of the chosen source's talker, as fresh as it, are the same receiver's:
        // their fixes fill the times the chosen one has none for (RMC at .5 s, GGA on the second).
        std::vector<std::size_t> used{best};
        for (std::size_t k = 0; k < sources_.size(); ++k)
            if (k != best && sources_[k].name.compare(0, 2, sources_[best].name, 0, 2) == 0 &&
                std::abs(lags[k] - lags[best]) <= 0.5)
                used.push_back(k);
        std::sort(used.begin() + 1, used.end(), [&](std::size_t a, std::size_t b) {
            return std::pair(!sources_[a].dated, sources_[a].kind) <
                   std::pair(!sources_[b].dated, sources_[b].kind);
        });
        if (used.size() < sources_.size()) {
            auto describe = [&](std::size_t k) {
                return sources_[k].name + " (" + (sources_[k].dated ? "dated, " : "undated, ") +
                       fixedText(lags[k]) + " s behind the newest fix)";
            };
            std::string note = "Positions from ";
            for (std::size_t u = 0; u < used.size(); ++u)
                note += (u == 0 ? "" : u + 1 == used.size() ? " and " : ", ") + describe(used[u]);
            note += ", not from ";
            for (std::size_t k = 0, listed = 0; k < sources_.size(); ++k)
                if (std::find(used.begin(), used.end(), k) == used.end())
                    note += (listed++ ? ", " : "") + describe(k);
            table_.notes.push_back(note);
        }

        Fixes kept;
        for (std::size_t u : used)
            kept = mergeFixes(std::move(kept), std::move(sources_[u].fixes));
        insertRowsAt(kept);
        InputColumn& latitudes = table_.columns[static_cast<std::size_t>(slotColumn_[lat])];
        InputColumn& longitudes = table_.columns[static_cast<std::size_t>(slotColumn_[lon])];
        std::size_t r = 0;
        for (const Fix& fix : kept) {
            while (table_.times[r] < fix.time - 1e-6)
                ++r;
            latitudes.values[r] = fix.lat;
            longitudes.values[r] = fix.lon;
        }
        latitudes.numbers = longitudes.numbers = static_cast<std::int64_t>(kept.size());
    }

    // `fixes` (one source's, in the order met) merged into `kept` (ascending), where it has no fix
    // at the same time. A fix before the one met before it is dropped and counted; a later one at
    // the same time replaces it.
    Fixes mergeFixes(Fixes kept, Fixes own) {
        std::size_t count = 0; // of `own` kept, in place
        for (const Fix& fix : own) {
            if (count > 0 && fix.time < own[count - 1].time - 1e-6)
                table_.skipped.skipLine(fix.line, "time going backwards");
            else if (count > 0 && fix.time <= own[count - 1].time + 1e-6)
                own[count - 1] = fix;
            else
                own[count++] = fix;
        }
        own.resize(count);
        if (kept.empty())
            return own;
        Fixes merged;
        merged.reserve(kept.size() + own.size());
        std::size_t k = 0;
        for (const Fix& fix : own) {
            while (k < kept.size() && kept[k].time < fix.time - 1e-6)
                merged.push_back(kept[k++]);
            if (k == kept.size() || kept[k].time > fix.time + 1e-6)
                merged.push_back(fix);
        }
        merged.insert(merged.end(), kept.begin() + static_cast<std::ptrdiff_t>(k), kept.end());
        return merged;
    }

    // Rows at the times of `fixes` (ascending) where the table has none, other columns empty.
    void insertRowsAt(const Fixes& fixes) {
        const Values& times = table_.times;
        std::vector<std::size_t> from; // by new row: the old row, or none
        from.reserve(times.size());
        Values merged;
        std::size_t r = 0;
        constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
        bool inserted = false;
        for (const Fix& fix : fixes) {
            while (r < times.size() && times[r] < fix.time - 1e-6) {
                merged.push_back(times[r]);
                from.push_back(r++);
            }
            if (r < times.size() && times[r] <= fix.time + 1e-6)
                continue;
            merged.push_back(fix.time);
            from.push_back(none);
            inserted = true;
        }
        if (!inserted)
            return;
        for (; r < times.size(); ++r) {
            merged.push_back(times[r]);
            from.push_back(r);
        }
        for (auto& column : table_.columns) {
            Values values(from.size());
            for (std::size_t i = 0; i < from.size(); ++i)
                values[i] = from[i] == none ? missing : column.values[from[i]];
            column.values.swap(values);
        }
        table_.times.swap(merged);
    }

    static std::string fixedText(double value) {
        char text[32];
        std::snprintf(text, sizeof text, "%.1f", value);
        return text;
    }

    void addColumn(Slot slot) {
        slotColumn_[slot] = static_cast<int>(table_.columns.size());
        InputColumn added;
        added.name = slotNames[slot];
        added.values.assign(table_.rowCount(), missing);
        table_.columns.push_back(std::move(added));
    }

    void put(Slot slot, double value) {
        if (!std::isfinite(value))
            return;
        if (slotColumn_[slot] < 0)
            addColumn(slot);
        InputColumn& target = table_.columns[static_cast<std::size_t>(slotColumn_[slot])];
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

    // Only the first talker that gives times does: a second receiver on the bus would otherwise
    // make the clock jump between two sources. (Positions keep their own times: see Source.)
    bool fromTimeTalker() {
        if (!timeTalker_)
            timeTalker_ = std::string(talker_);
        return *timeTalker_ == talker_;
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

    // A time of day of another talker than the time source, placed on the clock's day: the one
    // that puts it nearest to the clock's time, so that two receivers either side of midnight
    // agree.
    double placeTimeOfDay(double tod) const {
        double t = static_cast<double>(relativeDay_) * 86400.0 + tod;
        if (haveTime_ && t - rowTime_ > 43200.0)
            t -= 86400.0;
        else if (haveTime_ && rowTime_ - t > 43200.0)
            t += 86400.0;
        return t;
    }

    // A date of another talker than the time source places the log when the time source gives
    // none. `t` is the sentence's time on the clock.
    void noteDate(std::optional<std::int64_t> day, double t, double tod) {
        if (day && !baseDay_)
            baseDay_ = *day - static_cast<std::int64_t>(std::llround((t - tod) / 86400.0));
    }

    Source& source(SourceKind kind) {
        char name[6] = {talker_[0], talker_[1], 0, 0, 0, 0};
        std::copy_n(kind == SourceKind::rmc ? "RMC" : kind == SourceKind::gga ? "GGA" : "GLL", 3, name + 2);
        const std::string_view wanted(name, 5);
        for (Source& known : sources_)
            if (known.name == wanted)
                return known;
        sources_.push_back({std::string(wanted), kind, false, {}, {}});
        return sources_.back();
    }

    // The fix of an RMC, GGA or GLL sentence at `t` on the clock, kept with its source.
    void position(int latField, int lonField, SourceKind kind, double t, bool dated) {
        auto la = coordinate(latField, latField + 1, 2);
        auto lo = coordinate(lonField, lonField + 1, 3);
        if (!la || !lo)
            return;
        if (*la == 0.0 && *lo == 0.0) {
            skipValue("position 0,0", field(latField));
            return;
        }
        // The columns take their place among the others when the first position is met.
        for (Slot slot : {lat, lon})
            if (slotColumn_[slot] < 0)
                addColumn(slot);
        Source& from = source(kind);
        from.dated = from.dated || dated;
        newestFix_ = std::max(newestFix_, t);
        from.noteLag(newestFix_ - t);
        from.fixes.push_back({t, *la, *lo, lines_.lineNumber()});
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
        if (!fromTimeTalker()) {
            auto tod = timeOfDay(0);
            auto day = dateDDMMYY(8);
            if (!tod)
                return;
            const double t = placeTimeOfDay(*tod);
            noteDate(day, t, *tod);
            if (field(1) == "A")
                position(2, 4, SourceKind::rmc, t, day.has_value());
            return;
        }
        auto day = dateDDMMYY(8);
        time(timeOfDay(0), day);
        if (!record() || field(1) != "A")
            return; // "V": the receiver has no fix
        position(2, 4, SourceKind::rmc, rowTime_, day.has_value());
        set(sog, 6);
        set(cog, 7);
    }

    void gga() {
        if (!needs(6))
            return;
        if (!fromTimeTalker()) {
            auto tod = timeOfDay(0);
            if (tod && field(5) != "0" && !field(5).empty())
                position(1, 3, SourceKind::gga, placeTimeOfDay(*tod), false);
            return;
        }
        time(timeOfDay(0), std::nullopt);
        if (!record() || field(5) == "0" || field(5).empty())
            return;
        position(1, 3, SourceKind::gga, rowTime_, false);
    }

    // $--GLL,lat,N,lon,E,hhmmss.ss,A: the time and status came later to the sentence.
    void gll() {
        if (!needs(4))
            return;
        if (count_ > 5 && field(5) == "V")
            return;
        std::optional<double> tod;
        if (!field(4).empty())
            tod = timeOfDay(4);
        if (tod)
            position(0, 2, SourceKind::gll, placeTimeOfDay(*tod), false);
        else if (record())
            position(0, 2, SourceKind::gll, rowTime_, false);
    }

    void zda() {
        if (!needs(1))
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
        if (!fromTimeTalker()) {
            if (auto tod = timeOfDay(0))
                noteDate(day, placeTimeOfDay(*tod), *tod);
            return;
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
    std::vector<Source> sources_;
    double newestFix_ = -INFINITY; // on the clock, of any position source
    std::optional<std::int64_t> baseDay_;
    std::int64_t relativeDay_ = 0;
    double lastTimeOfDay_ = 0.0;
    double rowTime_ = 0.0;
    bool haveTime_ = false;
    bool timeValid_ = false;
    bool headingSeen_ = false;
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
