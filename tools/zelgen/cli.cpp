#include "cli.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

bool Fail(std::string& error, const std::string& message)
{
    error = message;
    return false;
}

OptionAction SetFlag(bool& target)
{
    return [&target](const std::string&, std::string&) {
        target = true;
        return true;
    };
}

OptionAction SetText(std::string& target, const char* what)
{
    return [&target, what](const std::string& value, std::string& error) {
        if (value.empty()) return Fail(error, std::string(what) + " needs a file name");
        target = value;
        return true;
    };
}

OptionAction SetInt(int& target, int lo, int hi, const char* what)
{
    return [&target, lo, hi, what](const std::string& value, std::string& error) {
        long long n;
        if (!ParseInt(value, lo, hi, n, error, what)) return false;
        target = static_cast<int>(n);
        return true;
    };
}

OptionAction SetNumber(double& target, double lo, double hi, const char* what, bool* given)
{
    return [&target, lo, hi, what, given](const std::string& value, std::string& error) {
        if (given) *given = true;
        return ParseDouble(value, lo, hi, target, error, what);
    };
}

OptionAction SetPictureSize(int& width, int& height, const char* what)
{
    return [&width, &height, what](const std::string& value, std::string& error) {
        long long w, h;
        if (!ParsePair(value, 'x', 1, 8192, true, w, h, error, what)) return false;
        width = static_cast<int>(w);
        height = static_cast<int>(h);
        return true;
    };
}

bool ParseArguments(const std::vector<std::string>& args, const std::vector<OptionGroup>& groups,
                    std::string& positional, bool& helpAsked, std::string& error)
{
    helpAsked = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            helpAsked = true;
            return true;
        }
        // Anything not starting with '-' (or a negative number) is the input.
        if (arg.size() < 2 || arg[0] != '-' || std::isdigit(static_cast<unsigned char>(arg[1])) || arg[1] == '.') {
            if (!positional.empty()) return Fail(error, "unexpected argument '" + arg + "' (one input file only)");
            positional = arg;
            continue;
        }
        std::string name = arg, value;
        bool inlineValue = false;
        const std::size_t eq = arg.find('=');
        if (eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
            inlineValue = true;
        }
        const OptionRule* rule = nullptr;
        for (const OptionGroup& g : groups)
            for (const OptionRule& r : g.rules)
                if (name == r.name) rule = &r;
        if (!rule) return Fail(error, "unknown option '" + name + "' (see --help)");
        if (rule->valueName && !inlineValue) {
            if (i + 1 >= args.size()) return Fail(error, "option " + name + " needs a value");
            value = args[++i];
        } else if (!rule->valueName && inlineValue) {
            return Fail(error, "option " + name + " takes no value");
        }
        std::string why;
        if (!rule->apply(value, why)) return Fail(error, why);
    }
    return true;
}

std::string DescribeOptions(const std::vector<OptionGroup>& groups)
{
    const std::size_t column = 24;
    std::string text;
    for (const OptionGroup& g : groups) {
        text += std::string(g.title) + ":\n";
        for (const OptionRule& r : g.rules) {
            std::string head = std::string("  ") + r.name + (r.valueName ? std::string(" ") + r.valueName : "");
            head += head.size() + 1 < column ? std::string(column - head.size(), ' ') : "\n" + std::string(column, ' ');
            text += head;
            for (const char* c = r.help; *c; ++c) {
                text += *c;
                if (*c == '\n') text += std::string(column, ' ');
            }
            text += '\n';
        }
    }
    return text;
}

bool ParseDouble(const std::string& text, double lo, double hi, double& value, std::string& error, const char* what)
{
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(begin, &end);
    if (text.empty() || end == begin || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0])) ||
        errno == ERANGE || !std::isfinite(v))
        return Fail(error, std::string(what) + " needs a number, got '" + text + "'");
    if (v < lo || v > hi) {
        char range[96];
        std::snprintf(range, sizeof(range), " is out of range (%g to %g)", lo, hi);
        return Fail(error, std::string(what) + " " + text + range);
    }
    value = v;
    return true;
}

bool ParseInt(const std::string& text, long long lo, long long hi, long long& value, std::string& error,
              const char* what)
{
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(begin, &end, 10);
    if (text.empty() || end == begin || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0])) ||
        errno == ERANGE)
        return Fail(error, std::string(what) + " needs a whole number, got '" + text + "'");
    if (v < lo || v > hi)
        return Fail(error, std::string(what) + " " + text + " is out of range (" + std::to_string(lo) + " to " +
                               std::to_string(hi) + ")");
    value = v;
    return true;
}

bool ParseDoubleList(const std::string& text, int count, double lo, double hi, double* values, std::string& error,
                     const char* what)
{
    std::size_t start = 0;
    for (int i = 0; i < count; ++i) {
        const std::size_t comma = text.find(',', start);
        const bool last = i == count - 1;
        if (last != (comma == std::string::npos))
            return Fail(error, std::string(what) + " needs " + std::to_string(count) +
                                   " comma-separated numbers, got '" + text + "'");
        const std::string part = text.substr(start, last ? std::string::npos : comma - start);
        if (!ParseDouble(part, lo, hi, values[i], error, what)) return false;
        start = comma + 1;
    }
    return true;
}

bool ParsePair(const std::string& text, char separator, long long lo, long long hi, bool secondOptional, long long& a,
               long long& b, std::string& error, const char* what)
{
    const std::size_t at = text.find(separator);
    b = 0;
    if (at == std::string::npos && !secondOptional)
        return Fail(error, std::string(what) + " needs two numbers as A" + separator + "B, got '" + text + "'");
    if (!ParseInt(text.substr(0, at), lo, hi, a, error, what)) return false;
    return at == std::string::npos || ParseInt(text.substr(at + 1), lo, hi, b, error, what);
}
