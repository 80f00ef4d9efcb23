// Argument parsing and the value syntaxes shared by the subcommands.
#include "lyav.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace lyav {

void Fail(const std::string& what) { throw Failure(what); }

Args::Args(const std::string& command, const std::vector<std::string>& argv, const std::vector<OptionDef>& options)
    : command_(command) {
    for (size_t i = 0; i < argv.size(); ++i) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            help_ = true;
            continue;
        }
        if (a == "-o") a = "--output";
        if (a.size() < 2 || a[0] != '-' || a == "-" || (a[1] != '-' && !(a[1] >= 'a' && a[1] <= 'z'))) {
            positional_.push_back(a);  // file names and negative numbers
            continue;
        }
        if (a[1] != '-') Fail("lyav " + command + ": unknown option '" + a + "' (see lyav " + command + " --help)");
        std::string name = a.substr(2), value;
        bool hasValue = false;
        if (const size_t eq = name.find('='); eq != std::string::npos) {
            value = name.substr(eq + 1);
            name.resize(eq);
            hasValue = true;
        }
        const OptionDef* def = nullptr;
        for (const auto& o : options)
            if (name == o.name) def = &o;
        if (!def) Fail("lyav " + command + ": unknown option '--" + name + "' (see lyav " + command + " --help)");
        if (def->takesValue && !hasValue) {
            if (i + 1 >= argv.size()) Fail("lyav " + command + ": option '--" + name + "' needs a value");
            value = argv[++i];
        } else if (!def->takesValue && hasValue) {
            Fail("lyav " + command + ": option '--" + name + "' takes no value");
        }
        values_[name] = value;
    }
}

std::string Args::Get(const std::string& name, const std::string& fallback) const {
    const auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second;
}

long long ParseInteger(const std::string& text, const std::string& what, long long lo, long long hi) {
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno == ERANGE)
        Fail(what + ": '" + text + "' is not a whole number");
    if (v < lo || v > hi)
        Fail(what + ": " + text + " is outside " + std::to_string(lo) + ".." + std::to_string(hi));
    return v;
}

int Args::GetInt(const std::string& name, int fallback, int lo, int hi) const {
    if (!Has(name)) return fallback;
    return static_cast<int>(ParseInteger(Get(name), "lyav " + command_ + " --" + name, lo, hi));
}

double Args::GetDouble(const std::string& name, double fallback) const {
    if (!Has(name)) return fallback;
    const std::string t = Get(name);
    char* end = nullptr;
    const double v = std::strtod(t.c_str(), &end);
    if (t.empty() || *end != '\0') Fail("lyav " + command_ + " --" + name + ": '" + t + "' is not a number");
    return v;
}

void Args::ExpectPositional(size_t count, const char* what) const {
    if (positional_.size() != count)
        Fail("lyav " + command_ + ": expected " + what + " (see lyav " + command_ + " --help)");
}

bool PrintedHelp(const Args& args, const char* usage) {
    if (!args.help()) return false;
    std::fputs(usage, stdout);
    return true;
}

tagSIZE ParseSize(const std::string& text, const std::string& what) {
    const size_t x = text.find('x');
    if (x == std::string::npos) Fail(what + ": '" + text + "' is not WIDTHxHEIGHT");
    const int w = static_cast<int>(ParseInteger(text.substr(0, x), what + " width", 1, 32768));
    const int h = static_cast<int>(ParseInteger(text.substr(x + 1), what + " height", 1, 32768));
    return tagSIZE{w, h};
}

ELyColorimetry ParseColorimetry(const std::string& text) {
    if (text == "bt601" || text == "601") return Colorimetry_BT601;
    if (text == "bt709" || text == "709") return Colorimetry_BT709;
    Fail("unknown colorimetry '" + text + "' (bt601 or bt709)");
}

namespace {
struct RateName {
    const char* text;
    ELyFrameRate rate;
};
constexpr RateName kRates[] = {{"23.976", FrameRate_23_98}, {"24", FrameRate_24},       {"25", FrameRate_25},
                               {"29.97", FrameRate_29_97},  {"30", FrameRate_30},       {"50", FrameRate_50},
                               {"59.94", FrameRate_59_94},  {"60", FrameRate_60},       {"23.98", FrameRate_23_98}};
}  // namespace

ELyFrameRate ParseRate(const std::string& text) {
    for (const auto& r : kRates)
        if (text == r.text) return r.rate;
    Fail("unknown frame rate '" + text + "' (23.976, 24, 25, 29.97, 30, 50, 59.94 or 60)");
}

const char* RateName(ELyFrameRate rate) {
    for (const auto& r : kRates)
        if (r.rate == rate) return r.text;
    return "?";
}

uint32_t ParseColorWord(const std::string& text) {
    static const struct {
        const char* name;
        uint32_t word;
    } kNamed[] = {{"black", 0xFF000000u}, {"white", 0xFFFFFFFFu}, {"red", 0xFFFF0000u},   {"green", 0xFF00FF00u},
                  {"blue", 0xFF0000FFu},  {"yellow", 0xFFFFFF00u}, {"cyan", 0xFF00FFFFu}, {"magenta", 0xFFFF00FFu},
                  {"grey", 0xFF808080u},  {"gray", 0xFF808080u},   {"transparent", 0u}};
    for (const auto& n : kNamed)
        if (text == n.name) return n.word;
    std::string hex = text;
    if (!hex.empty() && hex[0] == '#') hex.erase(0, 1);
    if (hex.size() > 2 && hex[0] == '0' && (hex[1] == 'x' || hex[1] == 'X')) hex.erase(0, 2);
    if (hex.size() == 6 || hex.size() == 8) {
        char* end = nullptr;
        const unsigned long v = std::strtoul(hex.c_str(), &end, 16);
        if (*end == '\0') return hex.size() == 6 ? 0xFF000000u | static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    }
    Fail("unknown colour '" + text + "' (a name such as white, or RRGGBB / AARRGGBB in hex)");
}

}  // namespace lyav
