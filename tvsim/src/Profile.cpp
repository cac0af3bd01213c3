// Reading a television profile (JSON) into a Television. The first error wins and names the
// member by its path, such as "channels[2].major"; reading goes on harmlessly after it so that
// the code stays a straight walk over the members.
#include <json/json.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>

#include "TvState.h"

namespace tvsim::detail {
namespace {

constexpr long long kMaxUnsigned32 = 0xFFFFFFFFLL;

std::string Join(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + "." + name;
}

std::string Index(const std::string& path, Json::ArrayIndex i) {
    return path + "[" + std::to_string(i) + "]";
}

class ProfileReader {
public:
    explicit ProfileReader(std::string source) : m_source(std::move(source)) {}

    bool Failed() const { return !m_error.empty(); }
    const std::string& Error() const { return m_error; }

    void Fail(const std::string& path, const std::string& what) {
        if (m_error.empty()) m_error = m_source + ": " + path + ": " + what;
    }

    // An integer member within [min, max]; nullopt when absent or wrong (the error recorded).
    std::optional<long long> Integer(const Json::Value& object, const std::string& path,
                                     const char* name, long long min, long long max) {
        const Json::Value* v = Find(object, name);
        if (v == nullptr) return std::nullopt;
        return IntegerValue(*v, Join(path, name), min, max);
    }

    std::optional<long long> IntegerValue(const Json::Value& v, const std::string& path,
                                          long long min, long long max) {
        if (!v.isInt64()) {
            Fail(path, "expected an integer");
            return std::nullopt;
        }
        const long long n = v.asInt64();
        if (n < min || n > max) {
            Fail(path, "value " + std::to_string(n) + " is out of range [" + std::to_string(min) +
                           ", " + std::to_string(max) + "]");
            return std::nullopt;
        }
        return n;
    }

    std::optional<int> Int(const Json::Value& object, const std::string& path, const char* name) {
        const auto n = Integer(object, path, name, INT_MIN, INT_MAX);
        return n ? std::optional<int>(static_cast<int>(*n)) : std::nullopt;
    }

    // A flag given as a boolean or as an integer (non-zero is set).
    std::optional<bool> Flag(const Json::Value& object, const std::string& path, const char* name) {
        const Json::Value* v = Find(object, name);
        if (v == nullptr) return std::nullopt;
        if (v->isBool()) return v->asBool();
        if (v->isInt64()) return v->asInt64() != 0;
        Fail(Join(path, name), "expected a boolean");
        return std::nullopt;
    }

    std::optional<std::string> Text(const Json::Value& object, const std::string& path,
                                    const char* name) {
        const Json::Value* v = Find(object, name);
        if (v == nullptr) return std::nullopt;
        if (!v->isString()) {
            Fail(Join(path, name), "expected a string");
            return std::nullopt;
        }
        return v->asString();
    }

    // An array member; an empty array when absent or wrong.
    const Json::Value& Array(const Json::Value& object, const std::string& path, const char* name) {
        return Typed(object, path, name, Json::arrayValue, "expected an array");
    }

    const Json::Value& Object(const Json::Value& object, const std::string& path,
                              const char* name) {
        return Typed(object, path, name, Json::objectValue, "expected an object");
    }

    // An element that must be an object.
    bool IsObject(const Json::Value& v, const std::string& path) {
        if (v.isObject()) return true;
        Fail(path, "expected an object");
        return false;
    }

private:
    static const Json::Value* Find(const Json::Value& object, const char* name) {
        return object.isObject() ? object.find(name, name + std::char_traits<char>::length(name))
                                 : nullptr;
    }

    const Json::Value& Typed(const Json::Value& object, const std::string& path, const char* name,
                             Json::ValueType type, const char* what) {
        static const Json::Value emptyArray(Json::arrayValue);
        static const Json::Value emptyObject(Json::objectValue);
        const Json::Value& empty = type == Json::arrayValue ? emptyArray : emptyObject;
        const Json::Value* v = Find(object, name);
        if (v == nullptr) return empty;
        if (v->type() != type) {
            Fail(Join(path, name), what);
            return empty;
        }
        return *v;
    }

    std::string m_source;
    std::string m_error;
};

// jsoncpp reports "* Line 1, Column 9\n  Syntax error: ..." over several lines.
std::string OneLine(const std::string& report) {
    std::string line;
    std::istringstream in(report);
    std::string part;
    while (std::getline(in, part)) {
        const size_t begin = part.find_first_not_of("* ");
        if (begin == std::string::npos) continue;
        if (!line.empty()) line += ": ";
        line += part.substr(begin);
    }
    return line;
}

// An integer key written as text ("18").
std::optional<int> IntegerKey(const std::string& text) {
    if (text.empty()) return std::nullopt;
    size_t used = 0;
    try {
        const long n = std::stol(text, &used, 10);
        if (used != text.size() || n < INT_MIN || n > INT_MAX) return std::nullopt;
        return static_cast<int>(n);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void ReadIntegerTable(ProfileReader& r, const Json::Value& root, const char* name,
                      std::map<int, int>& out) {
    const Json::Value& table = r.Object(root, "", name);
    for (const std::string& keyText : table.getMemberNames()) {
        const std::string path = std::string(name) + "." + keyText;
        const auto key = IntegerKey(keyText);
        if (!key) {
            r.Fail(path, "key is not an integer");
            continue;
        }
        if (const auto value = r.IntegerValue(table[keyText], path, INT_MIN, INT_MAX)) {
            out[*key] = static_cast<int>(*value);
        }
    }
}

void ReadVconf(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& table = r.Object(root, "", "vconf");
    for (const std::string& key : table.getMemberNames()) {
        const Json::Value& v = table[key];
        if (v.isBool()) {
            tv.vconf[key] = VconfValue{true, v.asBool() ? 1 : 0};
        } else if (!v.isInt64()) {
            r.Fail("vconf." + key, "expected an integer or a boolean");
        } else if (const auto n = r.IntegerValue(v, "vconf." + key, INT_MIN, INT_MAX)) {
            tv.vconf[key] = VconfValue{false, static_cast<int>(*n)};
        }
    }
}

struct AttributeMember {
    const char* name;
    int key;
};

constexpr AttributeMember kChannelAttributes[] = {
    {"service_id", SERVICE_ATTR_SERVICE_ID},
    {"major", SERVICE_ATTR_MAJOR},
    {"minor", SERVICE_ATTR_MINOR},
    {"ptc", SERVICE_ATTR_PTC},
    {"channel_type", SERVICE_ATTR_CHANNEL_TYPE},
    {"program_number", SERVICE_ATTR_PROGRAM_NUMBER},
    {"transport_stream_id", SERVICE_ATTR_TRANSPORT_STREAM_ID},
    {"frequency", SERVICE_ATTR_FREQUENCY},
    {"service_profile", SERVICE_ATTR_SERVICE_PROFILE},
};

void ReadChannels(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& channels = r.Array(root, "", "channels");
    for (Json::ArrayIndex i = 0; i < channels.size(); ++i) {
        const std::string path = Index("channels", i);
        const Json::Value& c = channels[i];
        if (!r.IsObject(c, path)) continue;
        Channel channel;
        for (const AttributeMember& a : kChannelAttributes) {
            if (const auto n = r.Integer(c, path, a.name, LLONG_MIN, LLONG_MAX)) {
                channel.service.SetAttribute(a.key, *n);
            }
        }
        if (const auto scrambled = r.Flag(c, path, "scrambled")) {
            channel.service.SetAttribute(SERVICE_ATTR_SCRAMBLED_IN_PMT, *scrambled ? 1 : 0);
        }
        channel.name = r.Text(c, path, "name");
        tv.channels.push_back(std::move(channel));
    }
}

// Reads one programme object over `base` (its event's programme for a part, empty otherwise).
TCProgramData ReadProgramme(ProfileReader& r, const Json::Value& p, const std::string& path,
                            TCProgramData base, bool isPart) {
    const auto serviceId = r.Integer(p, path, "service_id", 0, LLONG_MAX);
    if (serviceId) {
        base.SetServiceId(static_cast<unsigned long long>(*serviceId));
    } else if (!isPart && !r.Failed()) {
        r.Fail(Join(path, "service_id"), "missing");
    }
    // Identity and times belong to each programme of an event alone.
    const auto eventId = r.Integer(p, path, "event_id", 0, 0xFFFF);
    const auto start = r.Integer(p, path, "start", 0, kMaxUnsigned32);
    const auto duration = r.Integer(p, path, "duration", 0, kMaxUnsigned32);
    for (const auto& [value, name] :
         {std::pair{eventId.has_value(), "event_id"}, std::pair{start.has_value(), "start"},
          std::pair{duration.has_value(), "duration"}}) {
        if (!value && !r.Failed()) r.Fail(Join(path, name), "missing");
    }
    base.SetEventId(static_cast<unsigned short>(eventId.value_or(0xFFFF)));
    base.SetStartTime(static_cast<unsigned long>(start.value_or(0)));
    base.SetDuration(static_cast<unsigned long>(duration.value_or(0)));
    base.SetProgramCRID(r.Text(p, path, "program_crid").value_or(""));

    if (const auto title = r.Text(p, path, "title")) base.SetTitle(*title);
    if (const auto synopsis = r.Text(p, path, "synopsis")) base.SetExtendedText(*synopsis);
    if (const auto guidance = r.Text(p, path, "guidance")) base.SetGuidance(*guidance);
    if (const auto hd = r.Flag(p, path, "hd")) base.SetHD(*hd);
    if (const auto table = r.Int(p, path, "eit_table_id")) base.SetEITTableId(*table);
    if (const auto number = r.Integer(p, path, "eit_number", 0, 0xFF)) {
        base.SetEITNumber(static_cast<unsigned char>(*number));
    }
    const std::string seriesPath = Join(path, "series_crids");
    const Json::Value& series = r.Array(p, path, "series_crids");
    if (p.isMember("series_crids") && series.isArray()) {
        std::list<std::string> crids;
        for (Json::ArrayIndex i = 0; i < series.size(); ++i) {
            if (series[i].isString()) {
                crids.push_back(series[i].asString());
            } else {
                r.Fail(Index(seriesPath, i), "expected a string");
            }
        }
        base.SetSeriesCRIDs(crids);
    }
    return base;
}

bool SameIdentity(const TCProgramData& a, const TCProgramData& b) {
    return a.ServiceId() == b.ServiceId() && a.EventId() == b.EventId();
}

void AddToGuide(ProfileReader& r, Television& tv, TCProgramData programme, size_t event,
                const std::string& path) {
    for (const GuideEntry& e : tv.guide) {
        if (SameIdentity(e.programme, programme)) {
            r.Fail(Join(path, "event_id"),
                   "event " + std::to_string(programme.EventId()) + " of service " +
                       std::to_string(programme.ServiceId()) + " is already in the guide");
            return;
        }
    }
    tv.guide.push_back(GuideEntry{std::move(programme), event});
}

void ReadProgrammes(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& programmes = r.Array(root, "", "programmes");
    for (Json::ArrayIndex i = 0; i < programmes.size(); ++i) {
        const std::string path = Index("programmes", i);
        const Json::Value& p = programmes[i];
        if (!r.IsObject(p, path)) continue;
        const TCProgramData first = ReadProgramme(r, p, path, TCProgramData(), false);
        const size_t event = i;
        AddToGuide(r, tv, first, event, path);

        const std::string partsPath = Join(path, "parts");
        const Json::Value& parts = r.Array(p, path, "parts");
        for (Json::ArrayIndex k = 0; k < parts.size(); ++k) {
            const std::string partPath = Index(partsPath, k);
            if (!r.IsObject(parts[k], partPath)) continue;
            if (parts[k].isMember("parts")) {
                r.Fail(Join(partPath, "parts"), "a part cannot have parts of its own");
                continue;
            }
            AddToGuide(r, tv, ReadProgramme(r, parts[k], partPath, first, true), event, partPath);
        }
    }
}

void ReadPvr(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& pvr = r.Object(root, "", "pvr");
    if (pvr.empty()) return;
    tv.pvr.defaultDevice = r.Int(pvr, "pvr", "default_device");
    // One figure for every device, or one per device kind.
    if (pvr.isMember("remaining_time") && pvr["remaining_time"].isObject()) {
        const Json::Value& remaining = pvr["remaining_time"];
        for (const std::string& kindText : remaining.getMemberNames()) {
            const std::string path = "pvr.remaining_time." + kindText;
            const auto kind = IntegerKey(kindText);
            if (!kind) {
                r.Fail(path, "key is not an integer");
                continue;
            }
            if (const auto n = r.IntegerValue(remaining[kindText], path, 0, kMaxUnsigned32)) {
                tv.pvr.remainingTimeByDeviceKind[*kind] = static_cast<unsigned long>(*n);
            }
        }
    } else if (const auto n = r.Integer(pvr, "pvr", "remaining_time", 0, kMaxUnsigned32)) {
        tv.pvr.remainingTime = static_cast<unsigned long>(*n);
    }
    const Json::Value& recording = r.Array(pvr, "pvr", "recording_services");
    for (Json::ArrayIndex i = 0; i < recording.size(); ++i) {
        if (const auto id =
                r.IntegerValue(recording[i], Index("pvr.recording_services", i), 0, LLONG_MAX)) {
            tv.pvr.recordingServices.insert(static_cast<unsigned long long>(*id));
        }
    }
    if (const auto flag = r.Flag(pvr, "pvr", "highlight_player")) tv.pvr.highlightPlayer = *flag;
    const Json::Value& change = r.Object(pvr, "pvr", "pre_channel_change");
    const std::string changePath = "pvr.pre_channel_change";
    tv.pvr.preChannelChangeResult = r.Int(change, changePath, "result").value_or(0);
    tv.pvr.stopType = r.Int(change, changePath, "stop_type").value_or(0);
    tv.pvr.handler = r.Int(change, changePath, "handler").value_or(0);
}

void ReadCaDevices(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& devices = r.Array(root, "", "ca_devices");
    for (Json::ArrayIndex i = 0; i < devices.size(); ++i) {
        const std::string path = Index("ca_devices", i);
        if (!r.IsObject(devices[i], path)) continue;
        const auto key = r.Int(devices[i], path, "key");
        const auto state = r.Int(devices[i], path, "state");
        if (!key && !r.Failed()) r.Fail(Join(path, "key"), "missing");
        if (key) tv.caDevices[*key] = state.value_or(0);
    }
}

void ReadTextSet(ProfileReader& r, const Json::Value& root, const char* name,
                 std::set<std::string>& out) {
    const Json::Value& items = r.Array(root, "", name);
    for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
        if (items[i].isString()) {
            out.insert(items[i].asString());
        } else {
            r.Fail(Index(name, i), "expected a string");
        }
    }
}

void ReadTvMode(ProfileReader& r, const Json::Value& root, Television& tv) {
    if (!root.isMember("tv_mode")) return;
    const Json::Value& mode = r.Array(root, "", "tv_mode");
    if (r.Failed()) return;
    if (mode.size() != 2) {
        r.Fail("tv_mode", "expected two integers");
        return;
    }
    const auto a = r.IntegerValue(mode[0], "tv_mode[0]", INT_MIN, INT_MAX);
    const auto b = r.IntegerValue(mode[1], "tv_mode[1]", INT_MIN, INT_MAX);
    if (a && b) tv.tvMode = TSTvMode{static_cast<int>(*a), static_cast<int>(*b)};
}

void ReadProviders(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& virtuals = r.Array(root, "", "virtual_programmes");
    for (Json::ArrayIndex i = 0; i < virtuals.size(); ++i) {
        const std::string path = Index("virtual_programmes", i);
        if (!r.IsObject(virtuals[i], path)) continue;
        VirtualProgramme v;
        v.serviceId = static_cast<unsigned long long>(
            r.Integer(virtuals[i], path, "service_id", 0, LLONG_MAX).value_or(0));
        v.start = static_cast<unsigned long>(
            r.Integer(virtuals[i], path, "start", 0, kMaxUnsigned32).value_or(0));
        v.title = r.Text(virtuals[i], path, "title").value_or("");
        v.description = r.Text(virtuals[i], path, "description").value_or("");
        tv.virtualProgrammes.push_back(std::move(v));
    }
    const Json::Value& remotes = r.Array(root, "", "remote_channels");
    for (Json::ArrayIndex i = 0; i < remotes.size(); ++i) {
        const std::string path = Index("remote_channels", i);
        if (!r.IsObject(remotes[i], path)) continue;
        RemoteChannel c;
        c.source = r.Int(remotes[i], path, "source").value_or(0);
        c.activityId = r.Int(remotes[i], path, "activity_id").value_or(0);
        c.major = r.Int(remotes[i], path, "major").value_or(0);
        c.minor = r.Int(remotes[i], path, "minor").value_or(0);
        c.name = r.Text(remotes[i], path, "name").value_or("");
        tv.remoteChannels.push_back(std::move(c));
    }
}

void ReadProgrammeChanges(ProfileReader& r, const Json::Value& root, Television& tv) {
    const Json::Value& changes = r.Array(root, "", "programme_changes");
    for (Json::ArrayIndex i = 0; i < changes.size(); ++i) {
        const std::string path = Index("programme_changes", i);
        if (!r.IsObject(changes[i], path)) continue;
        const Json::Value& c = changes[i];
        ScriptedChange change;
        change.afterMs = r.Integer(c, path, "after", 0, LLONG_MAX).value_or(0);
        change.type = r.Int(c, path, "type").value_or(0);
        const auto serviceId = r.Integer(c, path, "service_id", 0, LLONG_MAX);
        const auto eventId = r.Integer(c, path, "event_id", 0, 0xFFFF);
        for (const auto& [value, name] : {std::pair{serviceId.has_value(), "service_id"},
                                          std::pair{eventId.has_value(), "event_id"}}) {
            if (!value && !r.Failed()) r.Fail(Join(path, name), "missing");
        }
        change.serviceId = static_cast<unsigned long long>(serviceId.value_or(0));
        change.eventId = static_cast<unsigned short>(eventId.value_or(0));
        if (const auto start = r.Integer(c, path, "start", 0, kMaxUnsigned32)) {
            change.start = static_cast<unsigned long>(*start);
        }
        if (const auto duration = r.Integer(c, path, "duration", 0, kMaxUnsigned32)) {
            change.duration = static_cast<unsigned long>(*duration);
        }
        tv.programmeChanges.push_back(change);
    }
}

void ReadTelevision(ProfileReader& r, const Json::Value& root, Television& tv) {
    if (const auto now = r.Integer(root, "", "now", 0, kMaxUnsigned32)) {
        tv.fixedUtc = static_cast<unsigned long>(*now);
    }
    tv.utcOffset = r.Integer(root, "", "utc_offset", -86400, 86400).value_or(0);
    ReadIntegerTable(r, root, "system_info", tv.systemInfo);
    ReadIntegerTable(r, root, "system_settings", tv.systemSettings);
    if (const auto country = r.Int(root, "", "country")) tv.systemSettings[154] = *country;
    ReadVconf(r, root, tv);
    ReadChannels(r, root, tv);
    ReadProgrammes(r, root, tv);
    ReadPvr(r, root, tv);
    ReadCaDevices(r, root, tv);
    ReadTextSet(r, root, "running_apps", tv.runningApps);
    ReadTvMode(r, root, tv);
    tv.currentSource = r.Int(root, "", "current_source");
    tv.monitoringType = r.Int(root, "", "monitoring_type");
    if (const auto crid = r.Flag(root, "", "crid_support")) tv.cridSupport = *crid ? 1 : 0;
    tv.powerState = r.Int(root, "", "power_state").value_or(0);
    tv.pcMode = r.Int(root, "", "pc_mode").value_or(0);
    ReadProviders(r, root, tv);
    ReadProgrammeChanges(r, root, tv);
    ReadTextSet(r, root, "failures", tv.failures);
}

}  // namespace

namespace {

constexpr int kMaxBaseDepth = 8;

// Members whose keys a profile changes one by one over its base; every other member it names
// replaces the base's.
bool MergesByKey(const std::string& name) {
    return name == "system_info" || name == "system_settings" || name == "vconf" || name == "pvr";
}

bool ReadText(const std::string& path, std::string& text, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    std::ostringstream content;
    content << in.rdbuf();
    text = content.str();
    return true;
}

// Changes entries of the base's list `list` in place: each update names its entry by the
// values of `keys` and gives the members that change; "removed": true drops the entry. This is
// how a profile states a rescan or a guide update over the television it started from.
void ApplyUpdates(Json::Value& list, const Json::Value& updates,
                  const std::vector<std::string>& keys) {
    if (!list.isArray() || !updates.isArray()) return;
    for (const Json::Value& update : updates) {
        Json::Value kept(Json::arrayValue);
        for (Json::Value& entry : list) {
            const bool named = std::all_of(keys.begin(), keys.end(), [&](const std::string& k) {
                return update.isMember(k) && entry[k] == update[k];
            });
            if (named && update.get("removed", false).asBool()) continue;
            if (named) {
                for (const std::string& member : update.getMemberNames()) {
                    if (member != "removed") entry[member] = update[member];
                }
            }
            kept.append(entry);
        }
        list = std::move(kept);
    }
}

// Parses a profile into `root`. A profile may name another one as "base" (a path relative to
// its own folder, `dir`) and state only what differs from it.
bool ParseRoot(const std::string& text, const std::string& source, const std::string& dir,
               int depth, Json::Value& root, std::string& error) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string parseErrors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &parseErrors)) {
        error = source + ": not valid JSON: " + OneLine(parseErrors);
        return false;
    }
    if (!root.isObject()) {
        error = source + ": the profile is not a JSON object";
        return false;
    }
    if (!root.isMember("base")) return true;
    if (!root["base"].isString()) {
        error = source + ": base: expected a string";
        return false;
    }
    if (depth >= kMaxBaseDepth) {
        error = source + ": base: profiles based on each other too deeply";
        return false;
    }
    const std::string name = root["base"].asString();
    const std::string path = !name.empty() && name[0] == '/' ? name : dir + name;
    std::string baseText;
    if (!ReadText(path, baseText, error)) return false;
    const size_t slash = path.rfind('/');
    const std::string baseDir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    Json::Value merged;
    if (!ParseRoot(baseText, path, baseDir, depth + 1, merged, error)) return false;
    for (const std::string& member : root.getMemberNames()) {
        if (member == "base" || member == "channel_updates" || member == "programme_updates") {
            continue;
        }
        const Json::Value& value = root[member];
        if (MergesByKey(member) && value.isObject() && merged[member].isObject()) {
            for (const std::string& key : value.getMemberNames()) merged[member][key] = value[key];
        } else {
            merged[member] = value;
        }
    }
    // Channels are named by their old service id, programmes by service and event id.
    if (root.isMember("channel_updates") && merged.isMember("channels")) {
        ApplyUpdates(merged["channels"], root["channel_updates"], {"service_id"});
    }
    if (root.isMember("programme_updates") && merged.isMember("programmes")) {
        ApplyUpdates(merged["programmes"], root["programme_updates"], {"service_id", "event_id"});
    }
    root = std::move(merged);
    return true;
}

bool ParseProfileIn(const std::string& text, const std::string& source, const std::string& dir,
                    Television& out, std::string& error) {
    Json::Value root;
    if (!ParseRoot(text, source, dir, 0, root, error)) return false;
    ProfileReader r(source);
    Television tv;
    ReadTelevision(r, root, tv);
    if (r.Failed()) {
        error = r.Error();
        return false;
    }
    out = std::move(tv);
    return true;
}

}  // namespace

bool ParseProfile(const std::string& text, const std::string& source, Television& out,
                  std::string& error) {
    return ParseProfileIn(text, source, "", out, error);
}

bool ParseProfileFile(const std::string& path, Television& out, std::string& error) {
    std::string text;
    if (!ReadText(path, text, error)) return false;
    const size_t slash = path.rfind('/');
    return ParseProfileIn(text, path, slash == std::string::npos ? "" : path.substr(0, slash + 1),
                          out, error);
}

}  // namespace tvsim::detail
