#include "commands/options.h"

#include <algorithm>

#include "commands/cli.h"

namespace custsim {

namespace {

constexpr char kEndOfOptions[] = "--";
constexpr char kHelpName[] = "--help";
constexpr char kHelpShortName[] = "-h";
// Help lines stay within this width; option labels longer than kMaxLabelWidth get a line of their
// own, with their help below.
constexpr size_t kLineWidth = 92;
constexpr size_t kIndent = 2;
constexpr size_t kMaxLabelWidth = 22;
constexpr size_t kLabelGap = 2;

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// "--html FILE", "-v[LEVEL], --verbose[=LEVEL]", "-h, --help".
std::string labelOf(const Option& option) {
    std::string label;
    const std::string placeholder = option.placeholder != nullptr ? option.placeholder : "";
    if (option.shortName != nullptr) {
        label += option.shortName;
        if (option.value == Option::Value::Optional) label += "[" + placeholder + "]";
        if (option.value == Option::Value::Required) label += " " + placeholder;
        label += ", ";
    }
    label += option.name;
    if (option.value == Option::Value::Optional) label += "[=" + placeholder + "]";
    if (option.value == Option::Value::Required) label += " " + placeholder;
    return label;
}

// The option as the usage line shows it: "[--json]", "[--html FILE]", "[-v[LEVEL]]".
std::string usageOf(const Option& option) {
    const std::string placeholder = option.placeholder != nullptr ? option.placeholder : "";
    switch (option.value) {
        case Option::Value::None:
            return std::string("[") + option.name + "]";
        case Option::Value::Required:
            return std::string("[") + option.name + " " + placeholder + "]";
        case Option::Value::Optional:
            if (option.shortName != nullptr)
                return std::string("[") + option.shortName + "[" + placeholder + "]]";
            return std::string("[") + option.name + "[=" + placeholder + "]]";
    }
    return "";
}

std::string usageLine(const CommandLine& command, const std::vector<Option>& options) {
    const std::string head = std::string("usage: custpolicy ") + command.name;
    std::vector<std::string> words;
    for (const Option& option : options) words.push_back(usageOf(option));
    if (command.operands[0] != '\0') words.emplace_back(command.operands);
    std::string text = head;
    size_t lineStart = 0;
    for (const std::string& word : words) {
        if (text.size() - lineStart + 1 + word.size() > kLineWidth) {
            text += "\n" + std::string(head.size(), ' ');
            lineStart = text.size() - head.size();
        }
        text += " " + word;
    }
    return text + "\n";
}

void appendOptionHelp(std::string& text, const std::string& label, const char* help,
                      size_t column) {
    text += std::string(kIndent, ' ') + label;
    if (label.size() + kIndent + kLabelGap > column) {
        text += "\n" + std::string(column, ' ');
    } else {
        text += std::string(column - kIndent - label.size(), ' ');
    }
    for (const char* c = help; *c != '\0'; ++c) {
        text += *c;
        if (*c == '\n') text += std::string(column, ' ');
    }
    text += "\n";
}

Option helpOption(bool& help) {
    Option option = flagOption(kHelpName, "show this help", help);
    option.shortName = kHelpShortName;
    return option;
}

const Option* findOption(const std::vector<Option>& options, const std::string& arg,
                         std::optional<std::string>& attached) {
    for (const Option& option : options) {
        if (arg == option.name) return &option;
        if (startsWith(arg, std::string(option.name) + "=")) {
            attached = arg.substr(std::string(option.name).size() + 1);
            return &option;
        }
        if (option.shortName == nullptr) continue;
        if (arg == option.shortName) return &option;
        if (option.value != Option::Value::None && startsWith(arg, option.shortName)) {
            attached = arg.substr(std::string(option.shortName).size());
            return &option;
        }
    }
    return nullptr;
}

std::string seeHelp(const CommandLine& command) {
    return std::string(" (see 'custpolicy ") + command.name + " --help')";
}

// Takes one option (and its value, from the next argument when it is written apart). Nothing when
// the option took it, else the usage error.
std::optional<std::string> takeOption(const Option& option, std::optional<std::string> attached,
                                      const std::vector<std::string>& args, size_t& i) {
    const std::string& arg = args[i];
    if (option.value == Option::Value::None && attached)
        return std::string(option.name) + " takes no value, got '" + arg + "'";
    if (option.value == Option::Value::Required && !attached && i + 1 < args.size())
        attached = args[++i];
    const bool valueMissing = option.value == Option::Value::Required && !attached;
    if (option.value != Option::Value::None && (valueMissing || attached == std::string()))
        return std::string(option.name) + " needs a value: " + option.name +
               (option.value == Option::Value::Optional ? "=" : " ") + option.placeholder;
    return option.set(attached.value_or(""));
}

}  // namespace

Option flagOption(const char* name, const char* help, bool& target) {
    bool* set = &target;
    return {name,
            nullptr,
            Option::Value::None,
            nullptr,
            help,
            [set](const std::string&) -> std::optional<std::string> {
                *set = true;
                return std::nullopt;
            }};
}

Option textOption(const char* name, const char* placeholder, const char* help,
                  std::string& target) {
    std::string* set = &target;
    return {name,
            nullptr,
            Option::Value::Required,
            placeholder,
            help,
            [set](const std::string& value) -> std::optional<std::string> {
                *set = value;
                return std::nullopt;
            }};
}

std::string helpText(const CommandLine& command, const std::vector<Option>& options) {
    bool unused = false;
    std::vector<Option> all = options;
    all.push_back(helpOption(unused));
    size_t widest = 0;
    for (const Option& option : all) {
        const size_t width = labelOf(option).size();
        if (width <= kMaxLabelWidth) widest = std::max(widest, width);
    }
    const size_t column = kIndent + widest + kLabelGap;
    std::string text = usageLine(command, options) + "\n" + command.description + "\noptions:\n";
    for (const Option& option : all) appendOptionHelp(text, labelOf(option), option.help, column);
    if (command.epilogue[0] != '\0') text += std::string("\n") + command.epilogue;
    return text;
}

ParsedLine parseCommandLine(const CommandLine& command, const std::vector<Option>& options,
                            const std::vector<std::string>& args) {
    ParsedLine parsed;
    std::vector<Option> all = options;
    all.push_back(helpOption(parsed.help));
    bool operandsOnly = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (operandsOnly || arg.empty() || arg[0] != '-' || arg == "-") {
            parsed.operands.push_back(arg);
            continue;
        }
        if (arg == kEndOfOptions) {
            operandsOnly = true;
            continue;
        }
        std::optional<std::string> attached;
        const Option* option = findOption(all, arg, attached);
        std::optional<std::string> problem =
            option == nullptr ? "unknown option '" + arg + "' for " + command.name
                              : takeOption(*option, std::move(attached), args, i);
        // The first error is the one reported; the line is read to its end for a --help.
        if (problem && !parsed.error) parsed.error = "custpolicy: " + *problem + seeHelp(command);
    }
    return parsed;
}

std::optional<int> readCommandLine(const CommandLine& command, const std::vector<Option>& options,
                                   const std::vector<std::string>& args,
                                   std::vector<std::string>& operands, std::ostream& out,
                                   std::ostream& err) {
    ParsedLine parsed = parseCommandLine(command, options, args);
    if (parsed.help) {
        out << helpText(command, options);
        return kExitOk;
    }
    if (parsed.error) {
        err << *parsed.error << "\n";
        return kExitFindings;
    }
    operands = std::move(parsed.operands);
    return std::nullopt;
}

}  // namespace custsim
