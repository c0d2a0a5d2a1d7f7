#include "tvsim/Scenario.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "qis/FileSystem.h"
#include "tvsim/Journal.h"
#include "tvsim/MediaTypeNames.h"

namespace tvsim {
namespace {

using nlohmann::json;

// A place in the document: every complaint names its JSON path.
class Node {
public:
    Node(const json& value, std::string path, const qis::String& origin) : value_(value), path_(std::move(path)), origin_(origin) {}

    [[noreturn]] void fail(const std::string& what) const {
        throw ScenarioError("scenario \"" + origin_ + "\": " + (path_.empty() ? std::string("/") : path_) + ": " + what);
    }

    void allowOnly(std::initializer_list<const char*> keys) const {
        requireObject();
        for (const auto& [key, ignored] : value_.items()) {
            bool known = false;
            for (const char* k : keys) known = known || key == k;
            if (!known) Node(value_[key], path_ + "/" + key, origin_).fail("unknown key");
        }
    }

    void requireKnown(const std::vector<const char*>& keys) const {
        requireObject();
        for (const auto& item : value_.items()) {
            const std::string key = item.key();
            if (std::none_of(keys.begin(), keys.end(), [&](const char* k) { return key == k; }))
                Node(value_[key], path_ + "/" + key, origin_).fail("unknown key");
        }
    }

    std::optional<Node> field(const char* key) const {
        requireObject();
        if (!value_.contains(key)) return std::nullopt;
        return Node(value_[key], path_ + "/" + key, origin_);
    }

    Node required(const char* key) const {
        auto node = field(key);
        if (!node) fail(std::string("\"") + key + "\" is required");
        return *node;
    }

    qis::String text() const {
        if (!value_.is_string()) fail("expected a string");
        return qis::String(value_.get<std::string>());
    }

    long integer() const {
        if (!value_.is_number_integer()) fail("expected a whole number");
        return value_.get<long>();
    }

    double number() const {
        if (!value_.is_number()) fail("expected a number");
        return value_.get<double>();
    }

    bool isText() const { return value_.is_string(); }
    bool isObject() const { return value_.is_object(); }

    bool boolean() const {
        if (!value_.is_boolean()) fail("expected true or false");
        return value_.get<bool>();
    }

    std::vector<Node> items() const {
        if (!value_.is_array()) fail("expected an array");
        std::vector<Node> nodes;
        for (std::size_t i = 0; i < value_.size(); ++i) nodes.emplace_back(value_[i], path_ + "/" + std::to_string(i), origin_);
        return nodes;
    }

    std::vector<std::pair<std::string, Node>> members() const {
        requireObject();
        std::vector<std::pair<std::string, Node>> out;
        for (const auto& [key, value] : value_.items()) out.emplace_back(key, Node(value, path_ + "/" + key, origin_));
        return out;
    }

private:
    void requireObject() const {
        if (!value_.is_object()) fail("expected an object");
    }
    const json& value_;
    std::string path_;
    const qis::String& origin_;
};

template <class T, class Read>
void readIf(const Node& parent, const char* key, T& target, Read read) {
    if (auto node = parent.field(key)) target = read(*node);
}

// Channels or frequencies that must lie in [min, max] of the tuner that lists them.
std::set<long> integerSetWithin(const Node& node, long min, long max, const char* range) {
    std::set<long> values;
    for (const auto& item : node.items()) {
        const long value = item.integer();
        if (value < min || value > max) item.fail(std::string("outside ") + range);
        values.insert(value);
    }
    return values;
}

// A value given either as a number or by one of the names of `table`.
long numberOrName(const Node& node, std::initializer_list<std::pair<const char*, long>> table, const char* prefix,
                  const char* what) {
    if (!node.isText()) return node.integer();
    std::string name = node.text().utf8();
    if (name.rfind(prefix, 0) == 0) name = name.substr(std::string(prefix).size());
    for (const auto& [known, value] : table)
        if (name == known) return value;
    node.fail(std::string("unknown ") + what);
}

long physicalType(const Node& node) {
    return numberOrName(node,
                        {{"Video_Tuner", 1}, {"Video_Composite", 2}, {"Video_SVideo", 3}, {"Video_RGB", 4},
                         {"Video_YRYBY", 5}, {"Video_SerialDigital", 6}, {"Video_ParallelDigital", 7},
                         {"Video_SCSI", 8}, {"Video_AUX", 9}, {"Video_1394", 10}, {"Video_USB", 11},
                         {"Video_VideoDecoder", 12}, {"Video_VideoEncoder", 13}, {"Video_SCART", 14},
                         {"Video_Black", 15}, {"Audio_Tuner", 0x1000}, {"Audio_Line", 0x1001}, {"Audio_Mic", 0x1002},
                         {"Audio_AESDigital", 0x1003}, {"Audio_SPDIFDigital", 0x1004}, {"Audio_SCSI", 0x1005},
                         {"Audio_AUX", 0x1006}, {"Audio_1394", 0x1007}, {"Audio_USB", 0x1008},
                         {"Audio_AudioDecoder", 0x1009}},
                        "PhysConn_", "physical connector type");
}

long tvFormat(const Node& node) {
    return numberOrName(node,
                        {{"NTSC_M", 0x1}, {"NTSC_M_J", 0x2}, {"NTSC_433", 0x4}, {"PAL_B", 0x10}, {"PAL_D", 0x20},
                         {"PAL_G", 0x40}, {"PAL_H", 0x80}, {"PAL_I", 0x100}, {"PAL_M", 0x200}, {"PAL_N", 0x400},
                         {"PAL_60", 0x800}, {"SECAM_B", 0x1000}, {"SECAM_D", 0x2000}, {"SECAM_G", 0x4000},
                         {"SECAM_H", 0x8000}, {"SECAM_K", 0x10000}, {"SECAM_K1", 0x20000}, {"SECAM_L", 0x40000},
                         {"SECAM_L1", 0x80000}, {"PAL_N_COMBO", 0x100000}},
                        "AnalogVideo_", "analog video standard");
}

DeviceUnderTest readDevice(const Node& node) {
    node.allowOnly({"name", "description", "capabilities", "properties"});
    DeviceUnderTest device;
    device.name = node.required("name").text();
    readIf(node, "description", device.description, [](const Node& n) { return n.text(); });
    if (auto caps = node.field("capabilities"))
        for (const auto& c : caps->items()) device.capabilities.push_back(c.text());
    if (auto props = node.field("properties"))
        for (const auto& [key, value] : props->members()) device.properties[qis::String(key)] = value.text();
    return device;
}

MonikerSpec readMoniker(const Node& node) {
    node.allowOnly({"friendlyName", "description", "devicePath", "filter"});
    MonikerSpec moniker;
    readIf(node, "friendlyName", moniker.friendlyName, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "description", moniker.description, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "devicePath", moniker.devicePath, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "filter", moniker.filter, [](const Node& n) { return n.text(); });
    return moniker;
}

TvTunerSpec readTuner(const Node& node) {
    node.allowOnly({"tvMode", "fmMode", "minChannel", "maxChannel", "antennaSignal", "cableSignal", "minFrequency",
                    "maxFrequency", "fmSignal", "inputType", "tvFormat", "lockMilliseconds"});
    TvTunerSpec tuner;
    readIf(node, "tvMode", tuner.tvMode, [](const Node& n) { return n.boolean(); });
    readIf(node, "fmMode", tuner.fmMode, [](const Node& n) { return n.boolean(); });
    if (!tuner.tvMode && !tuner.fmMode) node.fail("a tuner needs tvMode or fmMode");
    readIf(node, "minChannel", tuner.minChannel, [](const Node& n) { return n.integer(); });
    readIf(node, "maxChannel", tuner.maxChannel, [](const Node& n) { return n.integer(); });
    if (tuner.minChannel > tuner.maxChannel) node.fail("minChannel is above maxChannel");
    readIf(node, "minFrequency", tuner.minFrequency, [](const Node& n) { return n.integer(); });
    readIf(node, "maxFrequency", tuner.maxFrequency, [](const Node& n) { return n.integer(); });
    if (tuner.minFrequency <= 0 || tuner.minFrequency > tuner.maxFrequency)
        node.fail("minFrequency must be positive and not above maxFrequency");
    const auto channels = [&](const Node& n) { return integerSetWithin(n, tuner.minChannel, tuner.maxChannel, "minChannel..maxChannel"); };
    readIf(node, "antennaSignal", tuner.antennaSignal, channels);
    readIf(node, "cableSignal", tuner.cableSignal, channels);
    readIf(node, "fmSignal", tuner.fmSignal,
           [&](const Node& n) { return integerSetWithin(n, tuner.minFrequency, tuner.maxFrequency, "minFrequency..maxFrequency"); });
    readIf(node, "inputType", tuner.inputType, [](const Node& n) {
        const qis::String type = n.text();
        if (type != "cable" && type != "antenna") n.fail("expected cable or antenna");
        return type == "cable" ? 0L : 1L;
    });
    readIf(node, "tvFormat", tuner.tvFormat, tvFormat);
    readIf(node, "lockMilliseconds", tuner.lockMilliseconds, [](const Node& n) {
        const long value = n.integer();
        if (value < 0) n.fail("expected 0 or more");
        return value;
    });
    return tuner;
}

CrossbarSpec readCrossbar(const Node& node) {
    node.allowOnly({"inputs", "outputs"});
    CrossbarSpec crossbar;
    const auto outputs = node.required("outputs").items();
    const auto inputs = node.required("inputs").items();
    const auto pinIndex = [](const Node& n, std::size_t count, const char* what) {
        const long index = n.integer();
        if (index < -1 || index >= static_cast<long>(count)) n.fail(std::string("no such ") + what);
        return index;
    };
    // An output is its physical type, or an object when it has more to say.
    for (const auto& out : outputs) {
        CrossbarSpec::Output output;
        if (out.isObject()) {
            out.allowOnly({"physicalType", "related", "routedFrom"});
            output.physicalType = physicalType(out.required("physicalType"));
            readIf(out, "related", output.related, [&](const Node& n) { return pinIndex(n, outputs.size(), "output"); });
            readIf(out, "routedFrom", output.routedFrom, [&](const Node& n) { return pinIndex(n, inputs.size(), "input"); });
        } else {
            output.physicalType = physicalType(out);
        }
        crossbar.outputs.push_back(output);
    }
    for (const auto& in : inputs) {
        in.allowOnly({"physicalType", "routesTo", "related"});
        CrossbarSpec::Input input;
        input.physicalType = physicalType(in.required("physicalType"));
        if (auto routes = in.field("routesTo")) {
            for (const auto& r : routes->items()) {
                const long output = r.integer();
                if (output < 0 || output >= static_cast<long>(crossbar.outputs.size())) r.fail("no such output");
                input.routesTo.push_back(output);
            }
        }
        readIf(in, "related", input.related, [&](const Node& n) { return pinIndex(n, inputs.size(), "input"); });
        crossbar.inputs.push_back(input);
    }
    for (std::size_t o = 0; o < crossbar.outputs.size(); ++o) {
        const long from = crossbar.outputs[o].routedFrom;
        if (from < 0) continue;
        const auto& routes = crossbar.inputs[static_cast<std::size_t>(from)].routesTo;
        if (std::find(routes.begin(), routes.end(), static_cast<long>(o)) == routes.end())
            outputs[o].required("routedFrom").fail("that input cannot be routed to this output");
    }
    return crossbar;
}

// BDA enumeration values by the names broadcasters use ("64QAM", "8K", "1/4", "2/3"), or numbers.
long modulation(const Node& node) {
    return numberOrName(node,
                        {{"16QAM", 1}, {"32QAM", 2}, {"64QAM", 3}, {"80QAM", 4}, {"96QAM", 5}, {"112QAM", 6}, {"128QAM", 7},
                         {"160QAM", 8}, {"192QAM", 9}, {"224QAM", 10}, {"256QAM", 11}, {"320QAM", 12}, {"384QAM", 13},
                         {"448QAM", 14}, {"512QAM", 15}, {"640QAM", 16}, {"768QAM", 17}, {"896QAM", 18}, {"1024QAM", 19},
                         {"QPSK", 20}, {"BPSK", 21}, {"OQPSK", 22}, {"8VSB", 23}, {"16VSB", 24}},
                        "BDA_MOD_", "modulation");
}
long transmissionMode(const Node& node) { return numberOrName(node, {{"2K", 1}, {"8K", 2}, {"4K", 3}}, "", "transmission mode"); }
long guardInterval(const Node& node) {
    return numberOrName(node, {{"1/32", 1}, {"1/16", 2}, {"1/8", 3}, {"1/4", 4}}, "", "guard interval");
}
long codeRate(const Node& node) {
    return numberOrName(node, {{"1/2", 1}, {"2/3", 2}, {"3/4", 3}, {"3/5", 4}, {"4/5", 5}, {"5/6", 6}, {"5/11", 7}, {"7/8", 8}},
                        "", "code rate");
}

long positive(const Node& node) {
    const long value = node.integer();
    if (value <= 0) node.fail("expected a positive number");
    return value;
}

long percent(const Node& node) {
    const long value = node.integer();
    if (value < 0 || value > 100) node.fail("expected 0..100");
    return value;
}

// The keys every received channel may carry, after its own.
std::vector<const char*> channelKeys(std::initializer_list<const char*> own) {
    std::vector<const char*> keys(own);
    for (const char* key : {"picture", "quality", "sampleBytes", "minorChannel", "statistics"}) keys.push_back(key);
    return keys;
}

void allowOnly(const Node& node, const std::vector<const char*>& keys) {
    node.requireKnown(keys);
}

void readChannel(const Node& node, DigitalChannelSpec& channel) {
    readIf(node, "picture", channel.picture, [](const Node& n) { return n.boolean(); });
    readIf(node, "quality", channel.quality, percent);
    readIf(node, "sampleBytes", channel.sampleBytes, positive);
    readIf(node, "minorChannel", channel.minorChannel, [](const Node& n) { return n.integer(); });
    // A received channel is locked and present with its stream's quality unless told otherwise.
    channel.statistics = {true, true, channel.quality, 80, 100};
    if (auto stats = node.field("statistics")) {
        stats->allowOnly({"locked", "present", "quality", "strength", "sampleTime"});
        readIf(*stats, "locked", channel.statistics.locked, [](const Node& n) { return n.boolean(); });
        readIf(*stats, "present", channel.statistics.present, [](const Node& n) { return n.boolean(); });
        readIf(*stats, "quality", channel.statistics.quality, percent);
        readIf(*stats, "strength", channel.statistics.strength, [](const Node& n) { return n.integer(); });
        readIf(*stats, "sampleTime", channel.statistics.sampleTime, [](const Node& n) { return n.integer(); });
    }
}

std::vector<AtscChannelSpec> readAtscChannels(const Node& node) {
    std::vector<AtscChannelSpec> channels;
    for (const auto& item : node.items()) {
        allowOnly(item, channelKeys({"physicalChannel"}));
        AtscChannelSpec channel;
        channel.physicalChannel = positive(item.required("physicalChannel"));
        readChannel(item, channel);
        channels.push_back(channel);
    }
    return channels;
}

BdaTunerSpec readReception(const Node& node, const qis::String& statistics) {
    node.allowOnly({"atsc", "clearQam", "dvbt"});
    BdaTunerSpec spec;
    spec.statistics = statistics;
    if (auto atsc = node.field("atsc")) {
        atsc->allowOnly({"antenna", "cable"});
        readIf(*atsc, "antenna", spec.atscAntenna, readAtscChannels);
        readIf(*atsc, "cable", spec.atscCable, readAtscChannels);
    }
    if (auto qam = node.field("clearQam")) {
        for (const auto& item : qam->items()) {
            allowOnly(item, channelKeys({"frequency", "program", "modulation"}));
            QamChannelSpec channel;
            channel.frequency = positive(item.required("frequency"));
            channel.program = positive(item.required("program"));
            readIf(item, "modulation", channel.modulation, modulation);
            readChannel(item, channel);
            spec.clearQam.push_back(channel);
        }
    }
    if (auto dvbt = node.field("dvbt")) {
        for (const auto& item : dvbt->items()) {
            allowOnly(item, channelKeys({"frequency", "modulation", "mode", "guard", "lpFecRate", "bandwidth"}));
            DvbtChannelSpec channel;
            channel.frequency = positive(item.required("frequency"));
            readIf(item, "modulation", channel.modulation, modulation);
            readIf(item, "mode", channel.mode, transmissionMode);
            readIf(item, "guard", channel.guard, guardInterval);
            readIf(item, "lpFecRate", channel.lpFecRate, codeRate);
            readIf(item, "bandwidth", channel.bandwidth, [](const Node& n) {
                const long value = n.integer();
                if (value < 5 || value > 8) n.fail("expected a bandwidth of 5 to 8 MHz");
                return value;
            });
            readChannel(item, channel);
            spec.dvbt.push_back(channel);
        }
    }
    return spec;
}

ReportedFormat readReportedFormat(const Node& node) {
    node.allowOnly({"formatType", "width", "height"});
    ReportedFormat format;
    if (auto type = node.field("formatType")) {
        format.formatType = type->text();
        if (format.formatType != "VideoInfo" && format.formatType != "VideoInfo2" && format.formatType != "None")
            type->fail("expected VideoInfo, VideoInfo2 or None");
    }
    readIf(node, "width", format.width, [](const Node& n) { return n.integer(); });
    readIf(node, "height", format.height, [](const Node& n) { return n.integer(); });
    if (format.width <= 0 || format.height == 0) node.fail("width must be positive and height not 0");
    return format;
}

FilterSpec readFilter(const Node& node) {
    FilterSpec filter;
    readIf(node, "kind", filter.kind, [](const Node& n) { return n.text(); });
    static const char* const kKinds[] = {"analogCapture", "networkProvider", "bdaTuner", "bdaReceiver", "bdaTransportInformation"};
    if (std::none_of(std::begin(kKinds), std::end(kKinds), [&](const char* k) { return filter.kind == k; }))
        node.required("kind").fail("unknown filter kind (known: analogCapture, networkProvider, bdaTuner, bdaReceiver, bdaTransportInformation)");
    if (filter.kind == "bdaTuner") {
        node.allowOnly({"kind", "signalStatistics", "receives", "outputPins"});
        qis::String statistics = "filter";
        if (auto where = node.field("signalStatistics")) {
            statistics = where->text();
            if (statistics != "filter" && statistics != "topology") where->fail("expected filter or topology");
        }
        filter.receives = BdaTunerSpec{statistics, {}, {}, {}, {}};
        readIf(node, "receives", filter.receives, [&](const Node& n) { return std::optional(readReception(n, statistics)); });
        readIf(node, "outputPins", filter.receives->outputPins, [](const Node& n) {
            const long pins = n.integer();
            if (pins < 0 || pins > 2) n.fail("expected 0 to 2 pins");
            return static_cast<int>(pins);
        });
        return filter;
    }
    if (filter.kind != "analogCapture") {
        node.allowOnly({"kind"});
        return filter;
    }
    node.allowOnly({"kind", "captureTypes", "previewPin", "format", "getFormat", "tuner", "crossbar"});
    if (auto types = node.field("captureTypes")) {
        filter.captureTypes.clear();
        for (const auto& t : types->items()) {
            const qis::String type = t.text();
            if (type != "Video" && type != "Interleaved" && type != "Stream") t.fail("expected Video, Interleaved or Stream");
            filter.captureTypes.push_back(type);
        }
    }
    readIf(node, "previewPin", filter.previewPin, [](const Node& n) { return n.boolean(); });
    if (auto format = node.field("format")) {
        format->allowOnly({"width", "height", "framesPerSecond"});
        readIf(*format, "width", filter.format.width, [](const Node& n) { return n.integer(); });
        readIf(*format, "height", filter.format.height, [](const Node& n) { return n.integer(); });
        readIf(*format, "framesPerSecond", filter.format.framesPerSecond, [](const Node& n) { return n.number(); });
        if (filter.format.width <= 0 || filter.format.height == 0 || filter.format.framesPerSecond <= 0)
            format->fail("width, height and framesPerSecond must be positive");
    }
    readIf(node, "getFormat", filter.reportedFormat, [](const Node& n) { return std::optional(readReportedFormat(n)); });
    readIf(node, "tuner", filter.tuner, [](const Node& n) { return std::optional(readTuner(n)); });
    readIf(node, "crossbar", filter.crossbar, [](const Node& n) { return std::optional(readCrossbar(n)); });
    return filter;
}

FaultRule readFault(const Node& node) {
    node.allowOnly({"object", "method", "result", "call", "kind", "arguments"});
    FaultRule rule;
    rule.object = node.required("object").text();
    rule.method = node.required("method").text();
    if (auto result = node.field("result")) {
        const qis::String text = result->text();
        if (const auto named = resultFromName(text.utf8())) {
            rule.result = *named;
        } else {
            try {
                std::size_t used = 0;
                const unsigned long value = std::stoul(text.utf8(), &used, 0);
                if (used != text.length() || value > 0xFFFFFFFFul) throw std::invalid_argument("range");
                rule.result = static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
            } catch (const std::exception&) {
                result->fail("expected an HRESULT name such as E_FAIL or a number such as 0x80004005");
            }
        }
    }
    if (auto call = node.field("call")) {
        const long n = call->integer();
        if (n < 0) call->fail("expected 0 (every call) or a call number");
        rule.call = static_cast<unsigned>(n);
    }
    if (auto kind = node.field("kind")) {
        const qis::String k = kind->text();
        if (k == "fail") rule.kind = FaultKind::Fail;
        else if (k == "nullResult") rule.kind = FaultKind::NullResult;
        else kind->fail("expected fail or nullResult");
    }
    if (auto arguments = node.field("arguments"))
        for (const auto& [name, value] : arguments->members())
            rule.arguments.emplace_back(qis::String(name), value.isText() ? value.text() : qis::String::number(value.integer()));
    return rule;
}

// A call counter as a scenario gives it: 1 for the first call.
unsigned callNumber(const Node& node) {
    const long n = node.integer();
    if (n < 1) node.fail("expected a call number, 1 or more");
    return static_cast<unsigned>(n);
}

StopRule readStop(const Node& node) {
    node.allowOnly({"object", "method", "call", "atMs"});
    StopRule rule;
    readIf(node, "object", rule.object, [](const Node& n) { return n.text(); });
    readIf(node, "method", rule.method, [](const Node& n) { return n.text(); });
    readIf(node, "call", rule.call, callNumber);
    if (auto at = node.field("atMs")) {
        if (at->integer() < 0) at->fail("expected a virtual time in milliseconds, 0 or more");
        rule.atMs = at->integer();
    }
    if (rule.method.isEmpty() && !rule.atMs) node.fail("expected \"method\" or \"atMs\"");
    return rule;
}

ValueScript readValueScript(const Node& node) {
    node.allowOnly({"object", "method", "values"});
    ValueScript script;
    readIf(node, "object", script.object, [](const Node& n) { return n.text(); });
    script.method = node.required("method").text();
    for (const auto& value : node.required("values").items()) script.values.push_back(value.integer());
    return script;
}

} // namespace

ConverterSpec readConverter(const Node& item) {
    item.allowOnly({"name", "input", "output"});
    ConverterSpec converter;
    converter.name = item.required("name").text();
    converter.input = item.required("input").text();
    converter.output = item.required("output").text();
    for (const char* key : {"input", "output"})
        if (!isKnownMediaTypeName(item.required(key).text())) item.required(key).fail("unknown media type (known: " + knownMediaTypeNames() + ")");
    return converter;
}

// A tuning space whose unique name none of `earlier` has.
TuningSpaceSpec readTuningSpace(const Node& item, const std::vector<TuningSpaceSpec>& earlier) {
    item.allowOnly({"uniqueName", "friendlyName", "kind", "inputType"});
    TuningSpaceSpec space;
    space.uniqueName = item.required("uniqueName").text();
    for (const auto& other : earlier)
        if (other.uniqueName == space.uniqueName) item.required("uniqueName").fail("another tuning space has that name");
    space.friendlyName = space.uniqueName;
    readIf(item, "friendlyName", space.friendlyName, [](const Node& n) { return n.text(); });
    readIf(item, "kind", space.kind, [](const Node& n) {
        const qis::String kind = n.text();
        if (kind != "ATSC" && kind != "DVB-T" && kind != "DVB-C") n.fail("expected ATSC, DVB-T or DVB-C");
        return kind;
    });
    readIf(item, "inputType", space.inputType, [](const Node& n) {
        const qis::String type = n.text();
        if (type != "cable" && type != "antenna") n.fail("expected cable or antenna");
        return type == "cable" ? 0L : 1L;
    });
    return space;
}

// The key of a frequency map: a telephone calling code.
unsigned long countryCodeKey(const std::string& key, const Node& node) {
    try {
        std::size_t used = 0;
        const unsigned long code = std::stoul(key, &used, 10);
        if (used == key.size() && code != 0) return code;
    } catch (const std::exception&) {
    }
    node.fail("expected a country code (a telephone calling code such as 49) as the key");
}

std::vector<TuningSpaceSpec> defaultTuningSpaces() {
    // A North American system's container as it comes; the fourth entry is a cable ATSC space.
    return {{"ATSC", "ATSC Digital Antenna TV", "ATSC", 1},
            {"ATSCCable", "ATSC Digital Cable TV", "ATSC", 0},
            {"DVB-T", "Local DVB-T Digital Antenna", "DVB-T", 1},
            {"Digital Cable", "Digital Cable", "ATSC", 0},
            {"DVB-C", "Local DVB-C Digital Cable", "DVB-C", 0}};
}

Scenario parseScenario(const std::string& text, const qis::String& origin) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::exception& e) { // a syntax error, or a number too large for a double
        std::string message = e.what();
        const auto close = message.find("] ");
        throw ScenarioError("scenario \"" + origin + "\": " + (close == std::string::npos ? message : message.substr(close + 2)));
    }
    const Node root(document, "", origin);
    root.allowOnly({"name", "device", "processes", "categories", "filters", "faults", "description", "converters", "tuningSpaces",
                    "frequencyMaps", "frequencyMapCountries", "mpeg2FileWriter", "demultiplexerOutputPins", "stop", "values"});
    Scenario scenario;
    readIf(root, "name", scenario.name, [](const Node& n) { return n.text(); });
    scenario.device = readDevice(root.required("device"));
    if (auto processes = root.field("processes"))
        for (const auto& p : processes->items()) scenario.processes.push_back(p.text());
    if (auto filters = root.field("filters"))
        for (const auto& [key, node] : filters->members()) scenario.filters[qis::String(key)] = readFilter(node);
    if (auto categories = root.field("categories")) {
        for (const auto& [key, node] : categories->members()) {
            auto& list = scenario.categories[qis::String(key)];
            for (const auto& item : node.items()) {
                list.push_back(readMoniker(item));
                if (!list.back().filter.isEmpty() && !scenario.filters.count(list.back().filter))
                    item.required("filter").fail("no filter of that name under /filters");
            }
        }
    }
    if (auto converters = root.field("converters"))
        for (const auto& item : converters->items()) scenario.converters.push_back(readConverter(item));
    if (auto spaces = root.field("tuningSpaces")) {
        scenario.tuningSpaces.clear();
        for (const auto& item : spaces->items()) scenario.tuningSpaces.push_back(readTuningSpace(item, scenario.tuningSpaces));
    }
    readIf(root, "mpeg2FileWriter", scenario.mpeg2FileWriter, [](const Node& n) { return n.boolean(); });
    readIf(root, "demultiplexerOutputPins", scenario.demultiplexerOutputPins, [](const Node& n) {
        const long pins = n.integer();
        if (pins < 0 || pins > 3) n.fail("expected 0 to 3 pins");
        return static_cast<int>(pins);
    });
    if (auto stop = root.field("stop")) scenario.stop = readStop(*stop);
    if (auto values = root.field("values"))
        for (const auto& item : values->items()) scenario.values.push_back(readValueScript(item));
    if (auto maps = root.field("frequencyMaps")) {
        for (const auto& [key, node] : maps->members()) {
            auto& list = scenario.frequencyMaps[countryCodeKey(key, node)];
            for (const auto& f : node.items()) list.push_back(static_cast<unsigned long>(positive(f)));
        }
    }
    if (auto countries = root.field("frequencyMapCountries")) {
        scenario.frequencyMapCountries.emplace();
        for (const auto& code : countries->items()) {
            if (code.integer() <= 0) code.fail("expected a country code (a telephone calling code such as 49)");
            scenario.frequencyMapCountries->push_back(static_cast<unsigned long>(code.integer()));
        }
    }
    if (auto faults = root.field("faults"))
        for (const auto& f : faults->items()) scenario.faults.push_back(readFault(f));
    return scenario;
}

Scenario loadScenarioFile(const qis::String& path) {
    std::ifstream in(qis::FileSystem::toPath(path), std::ios::binary);
    if (!in) throw ScenarioError("scenario \"" + path + "\": cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    return parseScenario(text.str(), path);
}

Scenario loadScenario(const qis::String& nameOrPath) {
    const qis::String name = nameOrPath.isEmpty() ? qis::String(kDefaultScenario) : nameOrPath;
    if (const auto text = builtInScenarioText(name)) return parseScenario(*text, name);
    return loadScenarioFile(name);
}

} // namespace tvsim
