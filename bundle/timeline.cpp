#include "bundle/timeline.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "bundle/html.h"
#include "codes/notation.h"

namespace bundle {
namespace {

constexpr int64_t kSecond = 1000000;
constexpr int64_t kMinute = 60 * kSecond;
constexpr int64_t kHour = 60 * kMinute;

// In pixels of the drawing.
constexpr double kWidth = 980;
constexpr double kPlotLeft = 318;
constexpr double kPlotRight = 720;
constexpr double kOutcomeLeft = 732;
constexpr double kTop = 4;
constexpr double kRow = 19;
constexpr double kBar = 11;
constexpr double kLeastBar = 3;
constexpr double kWidestCut = 24;
// Nothing happens for so much of the time in which something does: it is cut out.
constexpr int64_t kIdleShare = 8;
constexpr int64_t kLeastIdle = kSecond / 20;
// A cut of that width, and as many rows, have room for words.
constexpr double kRoomForWords = 12;
constexpr double kHeightOfWords = 70;

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string Attribute(const char* name, double value) {
    return std::string(" ") + name + "=\"" + Number(value) + "\"";
}

std::string Words(double x, double y, const char* look, const std::string& text) {
    return std::string("<text class=\"") + look + "\"" + Attribute("x", x) + Attribute("y", y) +
           ">" + html::Escaped(text) + "</text>\n";
}

// A time in which calls follow one another, and where it is drawn.
struct Stretch {
    int64_t from;
    int64_t until;
    double left = 0;
};

// When there was a call, in order, without overlaps.
std::vector<Stretch> TimesOf(const std::deque<logs::Call>& calls) {
    std::vector<Stretch> times;
    times.reserve(calls.size());
    for (const logs::Call& call : calls) {
        times.push_back({call.first, std::max(call.first, call.last)});
    }
    std::sort(times.begin(), times.end(),
              [](const Stretch& one, const Stretch& other) { return one.from < other.from; });
    std::vector<Stretch> joined;
    for (const Stretch& time : times) {
        if (!joined.empty() && time.from <= joined.back().until) {
            joined.back().until = std::max(joined.back().until, time.until);
        } else {
            joined.push_back(time);
        }
    }
    return joined;
}

int64_t LengthOf(const std::vector<Stretch>& stretches) {
    int64_t length = 0;
    for (const Stretch& one : stretches) {
        length += one.until - one.from;
    }
    return length;
}

// The same, where short pauses belong to what is around them.
std::vector<Stretch> StretchesOf(const std::deque<logs::Call>& calls) {
    const std::vector<Stretch> times = TimesOf(calls);
    const int64_t idle = std::max(LengthOf(times) / kIdleShare, kLeastIdle);
    std::vector<Stretch> stretches;
    for (const Stretch& time : times) {
        if (!stretches.empty() && time.from - stretches.back().until <= idle) {
            stretches.back().until = time.until;
        } else {
            stretches.push_back(time);
        }
    }
    return stretches;
}

// Which pixel a moment is at.
class Scale final {
 public:
    explicit Scale(const std::deque<logs::Call>& calls) : stretches_(StretchesOf(calls)) {
        const auto cuts = static_cast<double>(stretches_.size() - 1);
        const double room = kPlotRight - kPlotLeft - kLeastBar;
        cut_ = cuts > 0 ? std::min(kWidestCut, room / 2 / cuts) : 0;
        const int64_t length = std::max<int64_t>(LengthOf(stretches_), 1);
        per_microsecond_ = (room - cuts * cut_) / static_cast<double>(length);
        double left = kPlotLeft;
        for (Stretch& one : stretches_) {
            one.left = left;
            left += static_cast<double>(one.until - one.from) * per_microsecond_ + cut_;
        }
    }

    double At(int64_t moment) const {
        const Stretch* in = &stretches_.front();
        for (const Stretch& one : stretches_) {
            in = one.from <= moment ? &one : in;
        }
        return in->left +
               static_cast<double>(std::min(moment, in->until) - in->from) * per_microsecond_;
    }

    // What is drawn behind the bars, from top to bottom.
    std::string Cuts(double bottom) const {
        std::string drawn;
        for (size_t i = 1; i < stretches_.size(); ++i) {
            const double left = stretches_[i].left - cut_;
            drawn += "<rect class=\"cut\"" + Attribute("x", left + 2) + Attribute("y", kTop) +
                     Attribute("width", std::max(cut_ - 4, 1.0)) +
                     Attribute("height", bottom - kTop) + "/>\n";
            if (cut_ >= kRoomForWords && bottom - kTop >= kHeightOfWords) {
                const std::string place = Number(left + cut_ / 2 + 4) + " " + Number(kTop + 4);
                drawn += "<text class=\"small upright\" transform=\"translate(" + place +
                         ") rotate(-90)\">" +
                         ShowDuration(stretches_[i].from - stretches_[i - 1].until) + "</text>\n";
            }
        }
        return drawn;
    }

 private:
    std::vector<Stretch> stretches_;
    double cut_ = 0;
    double per_microsecond_ = 0;
};

// A call that failed is known by its shape, whatever colours there are.
std::string BarOf(const logs::Call& call, const Scale& scale, double y) {
    const double left = scale.At(call.first);
    const double width = std::max(scale.At(std::max(call.first, call.last)) - left, kLeastBar);
    std::string bar = std::string("<rect class=\"") + (call.HasFailed() ? "bar failed" : "bar") +
                      "\"" + Attribute("x", left) + Attribute("y", y + 3) +
                      Attribute("width", width) + Attribute("height", kBar) + "/>\n";
    if (call.HasFailed()) {
        bar += Words(left + width + 3, y + kRow - 6, "mark", "\u2716");
    }
    return bar;
}

// "09:05:07.042"
std::string TimeOfDay(logs::Moment moment) {
    return logs::ShowMoment(moment, ' ').substr(11);
}

std::string RowOf(const logs::Call& call, const Scale& scale, double y) {
    const std::optional<int64_t> duration = call.Duration();
    const double line = y + kRow - 6;
    return Words(0, line, "small", TimeOfDay(call.first)) + Words(88, line, "name", call.function) +
           BarOf(call, scale, y) +
           Words(kOutcomeLeft, line, call.HasFailed() ? "strong" : "quiet",
                 (duration ? ShowDuration(*duration) + ", " : "") + OutcomeOf(call));
}

}  // namespace

std::string ShowDuration(int64_t microseconds) {
    if (microseconds >= kHour) {
        return std::to_string(microseconds / kHour) + " h " +
               std::to_string(microseconds % kHour / kMinute) + " min";
    }
    if (microseconds >= kMinute) {
        return std::to_string(microseconds / kMinute) + " min";
    }
    if (microseconds >= kSecond) {
        return Number(static_cast<double>(microseconds) / kSecond) + " s";
    }
    // The log's own times are whole milliseconds.
    return microseconds < 1000 ? "under 1 ms" : std::to_string(microseconds / 1000) + " ms";
}

std::string OutcomeOf(const logs::Call& call) {
    if (!call.code) {
        return call.ending == logs::Ending::kMissing ? "failed: no end" : "no code";
    }
    if (*call.code == 0) {
        return "done";
    }
    return "failed " + codes::Hexadecimal(*call.code);
}

std::string DrawnTimeline(const std::deque<logs::Call>& calls) {
    if (calls.empty()) {
        return {};
    }
    std::vector<const logs::Call*> rows;
    rows.reserve(calls.size());
    for (const logs::Call& call : calls) {
        rows.push_back(&call);
    }
    std::stable_sort(rows.begin(), rows.end(), [](const logs::Call* one, const logs::Call* other) {
        return one->first < other->first;
    });
    const Scale scale(calls);
    const double bottom = kTop + kRow * static_cast<double>(rows.size());
    std::string drawing =
        "<svg class=\"timeline\" role=\"img\" aria-label=\"The last calls\" "
        "viewBox=\"0 0 " +
        Number(kWidth) + " " + Number(bottom + 4) + "\">\n";
    drawing += scale.Cuts(bottom);
    double y = kTop;
    for (const logs::Call* const call : rows) {
        drawing += "<line class=\"rule\"" + Attribute("x1", 0) + Attribute("x2", kWidth) +
                   Attribute("y1", y) + Attribute("y2", y) + "/>\n" + RowOf(*call, scale, y);
        y += kRow;
    }
    return drawing + "</svg>\n";
}

}  // namespace bundle
