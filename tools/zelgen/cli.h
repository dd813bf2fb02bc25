// The command line's grammar: options as rules with their help text, and the
// strict number parsers. Every stage of the pipeline declares its own
// options as a group of rules (options_*.cpp); a command parses with the
// groups of the stages it runs, and its help lists exactly those groups, so
// no option can be accepted without being documented.
//
// Every parser returns false with a message in `error` (without the
// "zelgen: error: " prefix) and never throws.
#pragma once

#include <functional>
#include <string>
#include <vector>

using OptionAction = std::function<bool(const std::string& value, std::string& error)>;

struct OptionRule {
    const char* name;       // "--zoom", "-o"
    const char* valueName;  // "Z"; null for a flag
    const char* help;       // may hold further lines, each starting with '\n'
    OptionAction apply;
};

struct OptionGroup {
    const char* title;  // "plane", "display", ...
    std::vector<OptionRule> rules;
};

// Walks the arguments: options of the groups (as "--name value" or
// "--name=value") and at most one positional argument. helpAsked is set
// (and true returned) at --help or -h.
bool ParseArguments(const std::vector<std::string>& args, const std::vector<OptionGroup>& groups,
                    std::string& positional, bool& helpAsked, std::string& error);

// The options of the groups as help text, one aligned block per group.
std::string DescribeOptions(const std::vector<OptionGroup>& groups);

bool Fail(std::string& error, const std::string& message);

// Strict number parsing: the whole text must be the number, finite, and
// inside [lo, hi].
bool ParseDouble(const std::string& text, double lo, double hi, double& value, std::string& error, const char* what);
bool ParseInt(const std::string& text, long long lo, long long hi, long long& value, std::string& error,
              const char* what);
// "a,b,c" with exactly `count` numbers.
bool ParseDoubleList(const std::string& text, int count, double lo, double hi, double* values, std::string& error,
                     const char* what);
// "AxB" (or "A" alone when `secondOptional`; then b is 0).
bool ParsePair(const std::string& text, char separator, long long lo, long long hi, bool secondOptional, long long& a,
               long long& b, std::string& error, const char* what);

// Rule actions: set a flag; take a text; parse a number into `target` (setting `given`);
// pick one of named values ("--plane must be axial, coronal or sagittal").
OptionAction SetFlag(bool& target);
// A value that must not be empty (a file name), into `target`.
OptionAction SetText(std::string& target, const char* what);
OptionAction SetNumber(double& target, double lo, double hi, const char* what, bool* given = nullptr);
OptionAction SetInt(int& target, int lo, int hi, const char* what);
// "W[xH]" picture sizes, 1 to 8192; a missing H is 0.
OptionAction SetPictureSize(int& width, int& height, const char* what);
template <class E>
OptionAction SetChoice(E& target, std::vector<std::pair<std::string, E>> names, const char* what)
{
    return [&target, names, what](const std::string& value, std::string& error) {
        std::string list;
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (value == names[i].first) {
                target = names[i].second;
                return true;
            }
            list += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i].first;
        }
        return Fail(error, std::string(what) + " must be " + list + ", got '" + value + "'");
    };
}
