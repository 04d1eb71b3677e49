// Reads CSV (RFC 4180) back in tests, independently of the writers under test.
#pragma once

#include <string>
#include <vector>

// The fields of the line starting at *at; *at moves past its line end. Quoted fields may hold
// commas, doubled quotes and line breaks.
inline std::vector<std::string> readCsvLine(const std::string& text, size_t* at) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (; *at < text.size(); ++*at) {
        char c = text[*at];
        if (quoted) {
            if (c == '"' && *at + 1 < text.size() && text[*at + 1] == '"') fields.back() += '"', ++*at;
            else if (c == '"') quoted = false;
            else fields.back() += c;
        } else if (c == '"') {
            quoted = true;
        } else if (c == ',') {
            fields.emplace_back();
        } else if (c == '\n') {
            ++*at;
            break;
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

// Every line, the header first.
inline std::vector<std::vector<std::string>> readCsv(const std::string& text) {
    std::vector<std::vector<std::string>> lines;
    for (size_t at = 0; at < text.size();) lines.push_back(readCsvLine(text, &at));
    return lines;
}
