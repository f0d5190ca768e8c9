#include "unit_command.h"

#include <sstream>

namespace {

const char kExecStart[] = "ExecStart=";

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

std::string Unquoted(const std::string& value) {
    bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                  value.back() == value.front();
    return quoted ? value.substr(1, value.size() - 2) : value;
}

std::string Lookup(const UnitEnvironment& env, const std::string& name) {
    auto it = env.find(name);
    return it == env.end() ? "" : it->second;
}

// "%i" and "${NAME}" inside one word; false on any other specifier or an unclosed "${".
bool ExpandWord(const std::string& word, const std::string& instance, const UnitEnvironment& env,
                std::string* out) {
    for (size_t i = 0; i < word.size(); ++i) {
        if (word.compare(i, 2, "%i") == 0) {
            *out += instance;
            ++i;
        } else if (word[i] == '%' || word[i] == '"' || word[i] == '\'' || word[i] == '\\') {
            return false;
        } else if (word.compare(i, 2, "${") == 0) {
            size_t end = word.find('}', i);
            if (end == std::string::npos) return false;
            *out += Lookup(env, word.substr(i + 2, end - i - 2));
            i = end;
        } else {
            *out += word[i];
        }
    }
    return true;
}

// The text after the one ExecStart= of the unit.
bool ExecStartLine(const std::string& unit_text, std::string* line) {
    std::istringstream in(unit_text);
    int found = 0;
    for (std::string each; std::getline(in, each);) {
        if (each.compare(0, sizeof kExecStart - 1, kExecStart) != 0) continue;
        *line = each.substr(sizeof kExecStart - 1);
        ++found;
    }
    return found == 1;
}

}  // namespace

UnitEnvironment ReadEnvironmentFile(const std::string& text) {
    UnitEnvironment env;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        size_t equals = line.find('=');
        if (line.empty() || line[0] == '#' || equals == std::string::npos) continue;
        env[line.substr(0, equals)] = Unquoted(line.substr(equals + 1));
    }
    return env;
}

bool UnitCommand(const std::string& unit_text, const std::string& instance, const UnitEnvironment& env,
                 std::vector<std::string>* argv, std::string* error) {
    std::string line;
    if (!ExecStartLine(unit_text, &line)) {
        *error = "not exactly one ExecStart= line";
        return false;
    }
    for (const std::string& word : Words(line)) {
        if (word.size() > 1 && word[0] == '$' && word[1] != '{') {
            for (const std::string& part : Words(Lookup(env, word.substr(1)))) argv->push_back(part);
            continue;
        }
        std::string expanded;
        if (!ExpandWord(word, instance, env, &expanded)) {
            *error = "cannot expand " + word;
            return false;
        }
        argv->push_back(expanded);
    }
    return true;
}
