#include "SimulatedCardConfig.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace simcard {

namespace {

bool number(const std::string& text, unsigned long long& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    value = strtoull(text.c_str(), &end, 0);
    return end != nullptr && *end == '\0';
}

bool code(const std::string& text, uint32_t& value)
{
    if (text.size() == 4) {
        value = 0;
        for (char c : text)
            value = value << 8 | uint8_t(c);
        return true;
    }
    unsigned long long v;
    if (!number(text, v))
        return false;
    value = uint32_t(v);
    return true;
}

bool yesNo(const std::string& text, bool& value)
{
    if (text == "yes" || text == "true" || text == "1") {
        value = true;
        return true;
    }
    if (text == "no" || text == "false" || text == "0") {
        value = false;
        return true;
    }
    return false;
}

bool hexBytes(const std::string& text, std::vector<uint8_t>& out)
{
    if (text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned long long v;
        if (!number("0x" + text.substr(i, 2), v))
            return false;
        out.push_back(uint8_t(v));
    }
    return true;
}

bool nodeName(const std::string& name, NodeConfig& node)
{
    std::size_t digits = name.find_first_of("0123456789");
    if (digits == std::string::npos || digits == 0)
        return false;
    unsigned long long unit;
    if (!number(name.substr(digits), unit) || unit > 255)
        return false;
    node.prefix = name.substr(0, digits);
    node.unit = unsigned(unit);
    node.generation = node.prefix == "io" ? Generation::VantorixIO : Generation::Quorvale;
    return true;
}

// Applies one setting; `args` are the words after the key.
bool apply(NodeConfig& n, const std::string& key, const std::vector<std::string>& args,
           std::string& why)
{
    std::vector<unsigned long long> v;
    auto numbers = [&](std::size_t count) {
        if (args.size() != count) {
            why = key + " takes " + std::to_string(count) + " value(s)";
            return false;
        }
        for (const std::string& a : args) {
            unsigned long long x;
            if (!number(a, x)) {
                why = "not a number: " + a;
                return false;
            }
            v.push_back(x);
        }
        return true;
    };
    auto u32 = [&](uint32_t& field) {
        if (!numbers(1))
            return false;
        field = uint32_t(v[0]);
        return true;
    };

    if (key == "generation") {
        if (args.size() == 1 && args[0] == "Quorvale")
            n.generation = Generation::Quorvale;
        else if (args.size() == 1 && args[0] == "VantorixIO")
            n.generation = Generation::VantorixIO;
        else
            return why = "generation is Quorvale or VantorixIO", false;
        return true;
    }
    if (key == "kind") {
        if (args.size() == 1 && args[0] == "card")
            n.kind = NodeKind::Card;
        else if (args.size() == 1 && args[0] == "file")
            n.kind = NodeKind::PlainFile;
        else if (args.size() == 1 && args[0] == "block")
            n.kind = NodeKind::BlockDevice;
        else
            return why = "kind is card, file or block", false;
        return true;
    }
    if (key == "shared-page" || key == "strict") {
        bool b;
        if (args.size() != 1 || !yesNo(args[0], b))
            return why = key + " is yes or no", false;
        (key == "strict" ? n.strict : n.sharedPage) = b;
        return true;
    }
    if (key == "major") {
        uint32_t m;
        if (!u32(m))
            return false;
        n.major = m;
        return true;
    }
    if (key == "minor") {
        uint32_t m;
        if (!u32(m))
            return false;
        n.minor = m;
        return true;
    }
    if (key == "version")
        return u32(n.sharedDataVersion);
    if (key == "page-version") {
        uint32_t m;
        if (!u32(m))
            return false;
        n.pageVersion = m;
        return true;
    }
    if (key == "subdevice") {
        if (!numbers(3))
            return false;
        n.subDeviceIndex = uint32_t(v[0]);
        n.subDeviceCount = uint32_t(v[1]);
        n.parentDeviceId = uint32_t(v[2]);
        return true;
    }
    if (key == "device-info") {
        if (!numbers(2))
            return false;
        n.deviceInfo = uint32_t(v[0]);
        n.modelIndex = uint32_t(v[1]);
        return true;
    }
    if (key == "firmware") {
        if (!numbers(2))
            return false;
        n.firmwareFirst = uint32_t(v[0]);
        n.firmwareSecond = uint32_t(v[1]);
        return true;
    }
    if (key == "usable")
        return u32(n.hardwareUsable);
    if (key == "persistent-id")
        return u32(n.persistentId);
    if (key == "topological-id")
        return u32(n.topologicalId);
    if (key == "busy")
        return u32(n.busyState);
    if (key == "audio-channels")
        return u32(n.audioChannels);
    if (key == "timer") {
        if (!numbers(1))
            return false;
        n.timerCount = v[0];
        return true;
    }
    if (key == "hardware-description") {
        std::vector<uint8_t> bytes;
        if (args.size() != 1 || !hexBytes(args[0], bytes) || bytes.size() > 104)
            return why = "hardware-description takes up to 104 bytes in hex", false;
        n.hardwareDescription.fill(0);
        std::copy(bytes.begin(), bytes.end(), n.hardwareDescription.begin());
        return true;
    }
    if (key == "fail" || key == "fail-message") {
        unsigned long long e;
        uint32_t c;
        if (args.size() != 2 || !code(args[0], c) || !number(args[1], e))
            return why = key + " takes a request (or code) and an errno", false;
        if (key == "fail")
            n.failRequest(c, int(e));
        else
            n.failMessage(c, int(e));
        return true;
    }
    if (key == "reply" || key == "reply-message") {
        uint32_t c;
        if (args.empty() || !code(args[0], c))
            return why = key + " takes a request (or code) and values", false;
        Reply r;
        for (std::size_t i = 1; i < args.size(); ++i) {
            unsigned long long x;
            if (!number(args[i], x))
                return why = "not a number: " + args[i], false;
            r.scalars.push_back(x);
        }
        if (key == "reply")
            n.replies[c] = r;
        else
            n.messageReplies[c] = r;
        return true;
    }
    if (key == "raw") {
        unsigned long long req, size;
        if (args.size() != 2 || !number(args[0], req) || !number(args[1], size))
            return why = "raw takes a request and a byte size", false;
        n.rawRequests[req] = size;
        return true;
    }
    why = "unknown setting " + key;
    return false;
}

std::vector<std::string> words(const std::string& line)
{
    std::vector<std::string> out;
    std::istringstream in(line.substr(0, line.find('#')));
    std::string w;
    while (in >> w)
        out.push_back(w);
    return out;
}

}  // namespace

bool parseConfig(std::istream& in, std::vector<NodeConfig>& nodes, std::string& error)
{
    std::string line;
    int number = 0;
    auto fail = [&](const std::string& why) {
        error = "line " + std::to_string(number) + ": " + why;
        return false;
    };
    int firstLine = 0;  // the first line that is not blank or a comment
    while (std::getline(in, line)) {
        ++number;
        std::vector<std::string> w = words(line);
        if (w.empty())
            continue;
        if (firstLine == 0)
            firstLine = number;
        std::size_t first = 0;
        if (w[0] == "format") {
            // Versioned so that a newer file fails loudly instead of being
            // half understood.
            if (number != firstLine || w.size() != 2)
                return fail("\"format N\" comes alone, before every other line");
            if (w[1] != std::to_string(kConfigFormat))
                return fail("format " + w[1] + " is not understood here (this version reads format "
                            + std::to_string(kConfigFormat) + ")");
            continue;
        }
        if (w[0] == "card") {
            NodeConfig node;
            if (w.size() < 2 || !nodeName(w[1], node))
                return fail("card takes a node name such as dv0");
            nodes.push_back(node);
            first = 2;
        } else if (nodes.empty()) {
            return fail("settings before the first card line");
        }
        if (first == 0) {
            // "key value..." on a line of its own
            std::string why;
            if (!apply(nodes.back(), w[0], {w.begin() + 1, w.end()}, why))
                return fail(why);
            continue;
        }
        // "card dv0 key=value[,value...] ..." on the card line
        for (std::size_t i = first; i < w.size(); ++i) {
            const std::size_t eq = w[i].find('=');
            if (eq == std::string::npos)
                return fail("expected key=value: " + w[i]);
            std::vector<std::string> args;
            std::istringstream values(w[i].substr(eq + 1));
            std::string a;
            while (std::getline(values, a, ','))
                args.push_back(a);
            std::string why;
            if (!apply(nodes.back(), w[i].substr(0, eq), args, why))
                return fail(why);
        }
    }
    return true;
}

std::string formatRequest(const Request& r)
{
    char buffer[64];
    std::string s = "node=" + r.node;
    snprintf(buffer, sizeof buffer, " request=0x%lx", r.request);
    s += buffer;
    if (r.raw) {
        snprintf(buffer, sizeof buffer, " raw=0x%lx bytes=", r.rawValue);
        s += buffer;
        for (uint8_t b : r.rawBytes) {
            snprintf(buffer, sizeof buffer, "%02x", b);
            s += buffer;
        }
        return s;
    }
    snprintf(buffer, sizeof buffer, " counts=%u,%u,%u,%u scalars=", r.scalarInputCount,
             r.structInputSize, r.scalarOutputCount, r.structOutputSize);
    s += buffer;
    for (std::size_t i = 0; i < r.scalarInputs.size(); ++i) {
        snprintf(buffer, sizeof buffer, "%s0x%llx", i ? "," : "",
                 static_cast<unsigned long long>(r.scalarInputs[i]));
        s += buffer;
    }
    if (r.message) {
        s += " code=" + fourccText(r.messageCode) + " mscalars=";
        for (std::size_t i = 0; i < 4; ++i) {
            snprintf(buffer, sizeof buffer, "%s0x%llx", i ? "," : "",
                     static_cast<unsigned long long>(r.messageScalars[i]));
            s += buffer;
        }
    }
    return s;
}

}  // namespace simcard

namespace simcard {

std::string formatRequestJson(const Request& r)
{
    auto hexNumber = [](unsigned long long v) {
        char b[24];
        snprintf(b, sizeof b, "\"0x%llx\"", v);
        return std::string(b);
    };
    auto hexBytes = [](const std::vector<uint8_t>& bytes) {
        std::string s = "\"";
        char b[4];
        for (uint8_t v : bytes) {
            snprintf(b, sizeof b, "%02x", v);
            s += b;
        }
        return s + "\"";
    };
    // Node names and message codes are letters and digits: no escaping.
    std::string s = "{\"node\":\"" + r.node + "\",\"request\":" + hexNumber(r.request);
    if (r.raw)
        return s + ",\"raw\":" + hexNumber(r.rawValue) + ",\"bytes\":" + hexBytes(r.rawBytes) + "}";
    s += ",\"counts\":[" + std::to_string(r.scalarInputCount) + "," + std::to_string(r.structInputSize) + ","
         + std::to_string(r.scalarOutputCount) + "," + std::to_string(r.structOutputSize) + "]";
    s += ",\"scalars\":[";
    for (std::size_t i = 0; i < r.scalarInputs.size(); ++i)
        s += (i ? "," : "") + hexNumber(r.scalarInputs[i]);
    s += "],\"struct\":" + hexBytes(r.structInput);
    if (r.message) {
        s += ",\"code\":\"" + fourccText(r.messageCode) + "\",\"mscalars\":[";
        for (std::size_t i = 0; i < 4; ++i)
            s += (i ? "," : "") + hexNumber(r.messageScalars[i]);
        s += "]";
    }
    return s + "}";
}

}  // namespace simcard
