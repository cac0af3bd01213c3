// `reminderctl timeline`: the schedule on a time axis. In the terminal one row per booking with
// its padded slot, recordings and reminders drawn apart and conflicts marked and named; as SVG a
// lane per tuner that records, bookings placed the way the tuners would take them.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Commands.h"
#include "ReminderctlCommon.h"
#include "ReminderAPIUtil.h"

namespace {

constexpr unsigned long kHour = 3600;

struct STimelineOptions {
    std::string from;
    int hours = 6;
    std::string svg;
};

// One booking as drawn: its padded slot, its programme and whom it clashes with.
struct SBar {
    CRemindInfo item;
    std::vector<CRemindInfo> conflicts;
    unsigned long paddedStart;
    unsigned long start;
    unsigned long end;  // programme end
    unsigned long paddedEnd;
    bool recording;
};

struct SWindow {
    unsigned long from;
    unsigned long to;
    unsigned long now;
    int tuners;
    int recordable;
};

std::vector<SBar> BarsIn(const SWindow& w) {
    std::vector<SBar> bars;
    for (SBookingConflicts& b : ScheduleWithConflicts()) {
        const CRemindInfo& i = b.booking;
        SBar bar{i,
                 std::move(b.conflicts),
                 i.m_nEventTime - i.m_nStartMarginTime,
                 i.m_nEventTime,
                 i.m_nEventTime + i.m_nDuration,
                 i.m_nEventTime + i.m_nDuration + i.m_nEndMarginTime,
                 IsRecordingBooking(i)};
        // A reminder is a moment: it shows when its start falls in the window.
        const bool shown = bar.recording ? bar.paddedEnd > w.from && bar.paddedStart < w.to
                                         : bar.start >= w.from && bar.start < w.to;
        if (shown) bars.push_back(std::move(bar));
    }
    std::stable_sort(bars.begin(), bars.end(),
                     [](const SBar& a, const SBar& b) { return a.paddedStart < b.paddedStart; });
    return bars;
}

std::string HourMinute(unsigned long local) {
    return reminderctl::FormatLocal(local).substr(11);
}

std::string Names(const std::vector<CRemindInfo>& items) {
    std::string text;
    for (const CRemindInfo& c : items) {
        if (!text.empty()) text += ", ";
        text += std::to_string(c.m_nUid) + " " + BookingTitle(c);
    }
    return text;
}

std::string Summary(const SWindow& w) {
    return reminderctl::FormatLocal(w.from) + " to " + reminderctl::FormatLocal(w.to) +
           " (television time); " + std::to_string(w.tuners) +
           (w.tuners == 1 ? " tuner, " : " tuners, ") + std::to_string(w.recordable) +
           " recordable";
}

// --- Terminal ---

int TerminalWidth() {
    struct winsize size {};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    if (const char* columns = std::getenv("COLUMNS")) {
        const int n = std::atoi(columns);
        if (n > 0) return n;
    }
    return 100;
}

bool UseColour() {
    const char* noColour = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) && (noColour == nullptr || *noColour == '\0');
}

// Cells of one row; each may carry a colour.
class CRow {
public:
    explicit CRow(int width) : m_text(static_cast<size_t>(width), ' '), m_colour(m_text.size()) {}

    void Put(int column, char c, const char* colour = "") {
        if (column < 0 || column >= static_cast<int>(m_text.size())) return;
        m_text[static_cast<size_t>(column)] = c;
        m_colour[static_cast<size_t>(column)] = colour;
    }
    void Write(int column, const std::string& text, const char* colour = "") {
        for (size_t i = 0; i < text.size(); ++i) Put(column + static_cast<int>(i), text[i], colour);
    }
    char At(int column) const {
        return column >= 0 && column < static_cast<int>(m_text.size())
                   ? m_text[static_cast<size_t>(column)]
                   : '\0';
    }
    std::string Render(bool colour) const {
        std::string out;
        std::string current;
        for (size_t i = 0; i < m_text.size(); ++i) {
            const std::string wanted = colour ? m_colour[i] : "";
            if (wanted != current) {
                if (!current.empty()) out += "\033[0m";
                if (!wanted.empty()) out += wanted;
                current = wanted;
            }
            out += m_text[i];
        }
        if (!current.empty()) out += "\033[0m";
        while (!out.empty() && out.back() == ' ') out.pop_back();
        return out;
    }

private:
    std::string m_text;
    std::vector<std::string> m_colour;
};

constexpr const char* kRed = "\033[1;31m";
constexpr const char* kBlue = "\033[36m";
constexpr const char* kGreen = "\033[32m";
constexpr const char* kYellow = "\033[33m";
constexpr const char* kDim = "\033[2m";

// Titles are UTF-8: cut at a character boundary, counting characters, not bytes.
std::string Fit(const std::string& text, size_t cells) {
    std::string out;
    size_t used = 0;
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const size_t length = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
        if (used + 1 > cells) break;
        out += text.substr(i, length);
        ++used;
        i += length;
    }
    if (used == cells && out.size() < text.size() && cells > 0) {
        // Mark the cut with a full stop in place of the last character.
        size_t last = out.size() - 1;
        while (last > 0 && (static_cast<unsigned char>(out[last]) & 0xC0) == 0x80) --last;
        out = out.substr(0, last) + ".";
    }
    return out + std::string(cells - std::min(cells, used), ' ');
}

size_t Cells(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

// Prints `text` in lines of at most `width` cells, broken between words.
void PrintWrapped(const std::string& first, const std::string& rest, const std::string& text,
                  int width) {
    std::istringstream words(text);
    std::string word;
    std::string line = first;
    bool empty = true;
    while (words >> word) {
        if (!empty && Cells(line) + 1 + Cells(word) > static_cast<size_t>(width)) {
            std::printf("%s\n", line.c_str());
            line = rest;
            empty = true;
        }
        line += (empty ? "" : " ") + word;
        empty = false;
    }
    std::printf("%s\n", line.c_str());
}

void DrawTerminal(const SWindow& w, const std::vector<SBar>& bars) {
    const bool colour = UseColour();
    const int width = std::max(60, std::min(TerminalWidth(), 240));
    const int labelWidth = std::max(20, std::min(34, width / 3));
    const int axis = width - labelWidth - 1;
    const double span = static_cast<double>(w.to - w.from);
    const auto column = [&](unsigned long t) {
        const double offset = static_cast<double>(t) - static_cast<double>(w.from);
        return static_cast<int>(offset * axis / span);
    };
    const bool nowShown = w.now >= w.from && w.now < w.to;
    const int nowColumn = column(w.now);

    PrintWrapped("Schedule ", "  ", Summary(w), width);

    // Hour labels, thinned out where they would run into each other.
    const int hours = static_cast<int>((w.to - w.from) / kHour);
    const int cellsPerHour = std::max(1, axis / std::max(1, hours));
    const int step = cellsPerHour >= 6 ? 1 : (6 + cellsPerHour - 1) / cellsPerHour;
    CRow labels(axis);
    CRow ruler(axis);
    for (int c = 0; c < axis; ++c) ruler.Put(c, '-', kDim);
    for (int h = 0; h <= hours; ++h) {
        const int c = column(w.from + static_cast<unsigned long>(h) * kHour);
        if (c >= axis) break;
        ruler.Put(c, '+', kDim);
        if (h % step == 0)
            labels.Write(c, HourMinute(w.from + static_cast<unsigned long>(h) * kHour));
    }
    if (nowShown) {
        const std::string mark = "now " + HourMinute(w.now);
        const int at = std::min(nowColumn, axis - static_cast<int>(mark.size()));
        CRow nowRow(axis);
        nowRow.Write(at, mark, kYellow);
        std::printf("%*s %s\n", labelWidth, "", nowRow.Render(colour).c_str());
        ruler.Put(nowColumn, '|', kYellow);
    }
    std::printf("%*s %s\n", labelWidth, "", labels.Render(colour).c_str());
    std::printf("%*s %s\n", labelWidth, "", ruler.Render(colour).c_str());

    if (bars.empty()) std::printf("%*s (no bookings in this window)\n", labelWidth, "");
    for (const SBar& bar : bars) {
        const bool conflict = !bar.conflicts.empty();
        const std::string label = std::string(conflict ? "!" : " ") + (bar.recording ? "R" : "V") +
                                  " " + std::to_string(bar.item.m_nUid) + " " +
                                  BookingTitle(bar.item);
        CRow row(axis);
        const char* body = conflict ? kRed : bar.recording ? kBlue : kGreen;
        if (bar.recording) {
            const int a = column(std::max(bar.paddedStart, w.from));
            const int b = column(std::max(bar.start, w.from));
            const int e = column(std::min(bar.end, w.to));
            const int z = column(std::min(bar.paddedEnd, w.to));
            for (int c = a; c < b; ++c) row.Put(c, '-', body);
            for (int c = b; c < std::max(e, b + 1); ++c) row.Put(c, conflict ? 'X' : '=', body);
            for (int c = std::max(e, b + 1); c < z; ++c) row.Put(c, '-', body);
        } else {
            const int s = column(bar.start);
            const int e = column(std::min(bar.end, w.to));
            for (int c = s + 1; c < e; ++c) row.Put(c, '.', body);
            row.Put(s, conflict ? '!' : '>', body);
        }
        if (nowShown && row.At(nowColumn) == ' ') row.Put(nowColumn, '|', kYellow);
        const std::string labelText = Fit(label, static_cast<size_t>(labelWidth));
        std::printf("%s%s%s %s\n", colour && conflict ? kRed : "", labelText.c_str(),
                    colour && conflict ? "\033[0m" : "", row.Render(colour).c_str());
    }

    std::printf("\n  = recording   - margin   > reminder (. programme)   X ! conflict%s\n",
                nowShown ? "   | now" : "");
    bool heading = false;
    for (const SBar& bar : bars) {
        if (bar.conflicts.empty()) continue;
        if (!heading) std::printf("\nConflicts:\n");
        heading = true;
        const std::string text = std::to_string(bar.item.m_nUid) + " " + BookingTitle(bar.item) +
                                 " (" + BookingKind(bar.item) + " " + HourMinute(bar.paddedStart) +
                                 "-" + HourMinute(bar.paddedEnd) + ") clashes with " +
                                 Names(bar.conflicts);
        PrintWrapped("  ! ", "      ", text, width);
    }
}

// --- SVG ---

std::string Escape(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

struct SLane {
    std::string name;
    std::string kind;  // "tuner", "unserved" or "reminders"
    std::vector<const SBar*> bars;
    unsigned long busyUntil = 0;
};

// The tuners take recordings in start order, each the first tuner free at its padded start;
// a recording that finds none lands in a lane of its own, unserved. Reminders share lanes of
// their own, one more wherever two would overlap.
std::vector<SLane> AssignLanes(const std::vector<SBar>& bars, int recordable) {
    std::vector<SLane> tuners;
    for (int t = 1; t <= std::max(1, recordable); ++t) {
        tuners.push_back({"Tuner " + std::to_string(t), "tuner", {}, 0});
    }
    std::vector<SLane> unserved;
    std::vector<SLane> reminders;
    const auto place = [](std::vector<SLane>& lanes, const SBar& bar, unsigned long from,
                          unsigned long to, const std::string& name, const std::string& kind) {
        for (SLane& lane : lanes) {
            if (lane.busyUntil <= from) {
                lane.bars.push_back(&bar);
                lane.busyUntil = to;
                return true;
            }
        }
        if (name.empty()) return false;
        lanes.push_back({name, kind, {&bar}, to});
        return true;
    };
    for (const SBar& bar : bars) {
        if (bar.recording) {
            if (!place(tuners, bar, bar.paddedStart, bar.paddedEnd, "", "")) {
                place(unserved, bar, bar.paddedStart, bar.paddedEnd, "No tuner free", "unserved");
            }
        } else {
            place(reminders, bar, bar.start, std::max(bar.end, bar.start + 60), "Reminders",
                  "reminders");
        }
    }
    std::vector<SLane> lanes = std::move(tuners);
    for (SLane& lane : unserved) lanes.push_back(std::move(lane));
    for (SLane& lane : reminders) lanes.push_back(std::move(lane));
    return lanes;
}

void WriteSvg(const SWindow& w, const std::vector<SBar>& bars, const std::string& path) {
    const std::vector<SLane> lanes = AssignLanes(bars, w.recordable);
    const int hours = static_cast<int>((w.to - w.from) / kHour);
    const double left = 150;
    const double top = 84;
    const double laneHeight = 64;
    const double hourWidth = std::max(120.0, std::min(240.0, 1120.0 / std::max(1, hours)));
    const double chartWidth = hourWidth * hours;
    std::size_t conflictCount = 0;
    for (const SBar& b : bars) conflictCount += b.conflicts.empty() ? 0 : 1;
    const double chartBottom = top + laneHeight * static_cast<double>(lanes.size());
    const double listTop = chartBottom + 56;
    const double width = left + chartWidth + 30;
    const double height = listTop + 22.0 * static_cast<double>(conflictCount) + 50;
    const auto x = [&](unsigned long t) {
        const double offset = static_cast<double>(t) - static_cast<double>(w.from);
        return left + std::max(0.0, std::min(chartWidth, offset * chartWidth / (w.to - w.from)));
    };

    std::ostringstream svg;
    svg << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
        << "\" viewBox=\"0 0 " << width << " " << height
        << "\" font-family=\"DejaVu Sans, Verdana, sans-serif\" font-size=\"13\">\n"
        << "<style>\n"
        << ".lane{fill:#f4f6f8}.lane.alt{fill:#e9edf1}.lane.unserved{fill:#fbe9e7}\n"
        << ".booking.recording{fill:#2f6fb0}.booking.viewing{fill:#2e8b57}\n"
        << ".margin{fill:#9dbbdb}.programme{fill:#8fc9a5}\n"
        << ".conflict .booking{fill:#c62828}.conflict .margin{fill:#ef9a9a}"
        << ".conflict .programme{fill:#ef9a9a}\n"
        << ".label{fill:#fff;font-size:12px}.viewing-label{fill:#1b4d32;font-size:12px}\n"
        << ".conflict .viewing-label{fill:#8e0000}\n"
        << ".conflict-mark{fill:#fff;stroke:#c62828;stroke-width:2.5}"
        << ".mark-text{fill:#c62828;font-weight:bold;font-size:13px}\n"
        << ".clash-line{stroke:#c62828;stroke-width:1.2;stroke-dasharray:5 "
           "3;fill:none;opacity:.45}\n"
        << ".hour{stroke:#b0b8c0;stroke-width:1}.now{stroke:#e08e00;stroke-width:2.5}\n"
        << "</style>\n";
    svg << "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
    svg << "<text x=\"20\" y=\"30\" font-size=\"18\" font-weight=\"bold\">Schedule "
        << Escape(Summary(w)) << "</text>\n";

    // Lanes, hour grid, now.
    for (size_t l = 0; l < lanes.size(); ++l) {
        const double y = top + laneHeight * static_cast<double>(l);
        const std::string cls = lanes[l].kind == "unserved" ? "lane unserved"
                                : l % 2 != 0                ? "lane alt"
                                                            : "lane";
        svg << "<rect class=\"" << cls << "\" x=\"0\" y=\"" << y << "\" width=\"" << width
            << "\" height=\"" << laneHeight << "\"/>\n";
        svg << "<text x=\"14\" y=\"" << y + laneHeight / 2 + 5 << "\" font-weight=\"bold\""
            << (lanes[l].kind == "unserved" ? " fill=\"#c62828\"" : "") << ">"
            << Escape(lanes[l].name) << "</text>\n";
    }
    for (int h = 0; h <= hours; ++h) {
        const unsigned long t = w.from + static_cast<unsigned long>(h) * kHour;
        const double hx = x(t);
        svg << "<line class=\"hour\" x1=\"" << hx << "\" y1=\"" << top - 8 << "\" x2=\"" << hx
            << "\" y2=\"" << chartBottom << "\"/>\n";
        svg << "<text x=\"" << hx << "\" y=\"" << top - 14 << "\" text-anchor=\"middle\">"
            << HourMinute(t) << "</text>\n";
    }

    // Where each booking was drawn, for the clash lines drawn beneath them.
    std::map<uint32_t, std::pair<double, double>> anchors;
    std::ostringstream body;
    std::ostringstream marks;
    for (size_t l = 0; l < lanes.size(); ++l) {
        const double y = top + laneHeight * static_cast<double>(l);
        for (const SBar* bar : lanes[l].bars) {
            const bool conflict = !bar->conflicts.empty();
            const std::string tip = std::to_string(bar->item.m_nUid) + " " +
                                    BookingTitle(bar->item) + ", " + BookingKind(bar->item) + " " +
                                    HourMinute(bar->start) + "-" + HourMinute(bar->end) +
                                    (conflict ? "; clashes with " + Names(bar->conflicts) : "");
            body << "<g" << (conflict ? " class=\"conflict\"" : "") << "><title>" << Escape(tip)
                 << "</title>\n";
            double markX = 0;
            if (bar->recording) {
                const double a = x(bar->paddedStart);
                const double b = x(bar->start);
                const double e = x(bar->end);
                const double z = x(bar->paddedEnd);
                const double by = y + 10;
                const double bh = laneHeight - 20;
                body << "<rect class=\"margin\" x=\"" << a << "\" y=\"" << by << "\" width=\""
                     << std::max(0.0, z - a) << "\" height=\"" << bh << "\" rx=\"5\"/>\n";
                body << "<rect class=\"booking recording\" data-uid=\"" << bar->item.m_nUid
                     << "\" x=\"" << b << "\" y=\"" << by << "\" width=\"" << std::max(2.0, e - b)
                     << "\" height=\"" << bh << "\" rx=\"3\"/>\n";
                body << "<clipPath id=\"clip" << bar->item.m_nUid << "\"><rect x=\"" << b
                     << "\" y=\"" << by << "\" width=\"" << std::max(0.0, e - b - 20)
                     << "\" height=\"" << bh << "\"/></clipPath>\n";
                body << "<text class=\"label\" clip-path=\"url(#clip" << bar->item.m_nUid
                     << ")\" x=\"" << b + 6 << "\" y=\"" << by + 17 << "\">"
                     << Escape(BookingTitle(bar->item)) << "</text>\n";
                body << "<text class=\"label\" clip-path=\"url(#clip" << bar->item.m_nUid
                     << ")\" x=\"" << b + 6 << "\" y=\"" << by + 34 << "\" opacity=\"0.85\">"
                     << HourMinute(bar->start) << "-" << HourMinute(bar->end) << "  UID "
                     << bar->item.m_nUid << "</text>\n";
                markX = std::max(b + 10, e - 10);
                anchors[bar->item.m_nUid] = {(b + e) / 2, by + bh / 2};
            } else {
                const double s = x(bar->start);
                const double e = std::max(x(bar->end), s + 4);
                const double cy = y + laneHeight / 2;
                body << "<rect class=\"programme\" x=\"" << s << "\" y=\"" << cy - 4
                     << "\" width=\"" << e - s << "\" height=\"8\" rx=\"4\"/>\n";
                body << "<path class=\"booking viewing\" data-uid=\"" << bar->item.m_nUid
                     << "\" d=\"M" << s << " " << cy - 12 << " l12 12 l-12 12 l-12 -12 z\"/>\n";
                body << "<text class=\"viewing-label\" x=\"" << s + 16 << "\" y=\"" << cy - 9
                     << "\">" << Escape(BookingTitle(bar->item)) << " (UID " << bar->item.m_nUid
                     << ")</text>\n";
                markX = s - 22;
                anchors[bar->item.m_nUid] = {s, cy};
            }
            body << "</g>\n";
            if (conflict) {
                const double my = bar->recording ? y + 10 : y + laneHeight / 2;
                marks << "<g><title>" << Escape(tip) << "</title><circle class=\"conflict-mark\""
                      << " data-uid=\"" << bar->item.m_nUid << "\" cx=\"" << markX << "\" cy=\""
                      << my << "\" r=\"9\"/><text class=\"mark-text\" x=\"" << markX << "\" y=\""
                      << my + 5 << "\" text-anchor=\"middle\">!</text></g>\n";
            }
        }
    }
    // Each conflict is tied to the bookings it clashes with.
    for (const SBar& bar : bars) {
        const auto from = anchors.find(bar.item.m_nUid);
        if (from == anchors.end()) continue;
        for (const CRemindInfo& c : bar.conflicts) {
            const auto to = anchors.find(c.m_nUid);
            if (to == anchors.end() || c.m_nUid < bar.item.m_nUid) continue;
            const double mx = (from->second.first + to->second.first) / 2;
            svg << "<path class=\"clash-line\" d=\"M" << from->second.first << " "
                << from->second.second << " Q" << mx << " "
                << std::min(from->second.second, to->second.second) - 20 << " " << to->second.first
                << " " << to->second.second << "\"/>\n";
        }
    }
    svg << body.str();
    svg << marks.str();
    if (w.now >= w.from && w.now < w.to) {
        const double nx = x(w.now);
        svg << "<line class=\"now\" x1=\"" << nx << "\" y1=\"" << top - 4 << "\" x2=\"" << nx
            << "\" y2=\"" << chartBottom << "\"/>\n";
        svg << "<text x=\"" << nx + 4 << "\" y=\"" << chartBottom + 16 << "\" fill=\"#b06d00\">now "
            << HourMinute(w.now) << "</text>\n";
    }

    // Legend and the conflicts in words.
    const double ly = chartBottom + 34;
    svg << "<rect fill=\"#2f6fb0\" x=\"" << left << "\" y=\"" << ly - 11
        << "\" width=\"26\" height=\"14\"/><text x=\"" << left + 32 << "\" y=\"" << ly
        << "\">recording</text>\n"
        << "<rect fill=\"#9dbbdb\" x=\"" << left + 120 << "\" y=\"" << ly - 11
        << "\" width=\"26\" height=\"14\"/><text x=\"" << left + 152 << "\" y=\"" << ly
        << "\">margins</text>\n"
        << "<path fill=\"#2e8b57\" d=\"M" << left + 250 << " " << ly - 12
        << " l8 8 l-8 8 l-8 -8 z\"/><text x=\"" << left + 264 << "\" y=\"" << ly
        << "\">reminder</text>\n"
        << "<rect fill=\"#c62828\" x=\"" << left + 360 << "\" y=\"" << ly - 11
        << "\" width=\"26\" height=\"14\"/><text x=\"" << left + 392 << "\" y=\"" << ly
        << "\">conflict</text>\n";
    double cy = listTop;
    for (const SBar& bar : bars) {
        if (bar.conflicts.empty()) continue;
        svg << "<text x=\"20\" y=\"" << cy << "\" fill=\"#8e0000\">! " << bar.item.m_nUid << " "
            << Escape(BookingTitle(bar.item)) << " (" << BookingKind(bar.item) << " "
            << HourMinute(bar.paddedStart) << "-" << HourMinute(bar.paddedEnd) << ") clashes with "
            << Escape(Names(bar.conflicts)) << "</text>\n";
        cy += 22;
    }
    svg << "</svg>\n";

    std::ofstream out(path, std::ios::binary);
    out << svg.str();
    if (!out) {
        std::fprintf(stderr, "Cannot write %s.\n", path.c_str());
        std::exit(1);
    }
    std::printf("Wrote %s: %zu booking(s), %zu conflict(s), %zu lane(s).\n", path.c_str(),
                bars.size(), conflictCount, lanes.size());
}

void RunTimeline(const STimelineOptions& options) {
    SWindow w{};
    w.now = CReminderAPIUtil::GetCurrentTime();
    w.from =
        options.from.empty() ? w.now - w.now % kHour : ParseTelevisionTime(options.from, "--from");
    w.to = w.from + static_cast<unsigned long>(options.hours) * kHour;
    w.tuners = CReminderAPIUtil::NumOfAvailableTuner();
    w.recordable = CReminderAPIUtil::NumOfRecordableTuner();
    const std::vector<SBar> bars = BarsIn(w);
    if (!options.svg.empty()) {
        WriteSvg(w, bars, options.svg);
        return;
    }
    DrawTerminal(w, bars);
}

}  // namespace

void AddTimelineCommand(CLI::App& app) {
    auto options = std::make_shared<STimelineOptions>();
    CLI::App* cmd = app.add_subcommand("timeline", "The schedule on a time axis, with conflicts");
    cmd->add_option("--from", options->from,
                    "Start of the window (default: the current hour), as for --now");
    cmd->add_option("--hours", options->hours, "Length of the window in hours")
        ->check(CLI::Range(1, 48))
        ->capture_default_str();
    cmd->add_option("--svg", options->svg, "Write the picture as an SVG file instead");
    cmd->callback([options] { RunTimeline(*options); });
}
