// Tables of cases in text files, next to the tests.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

// The bytes that a text stands for.
inline std::string unescaped(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
        } else if (text[++i] == 'x') {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else if (text[i] == '*') {
            const size_t open = text.find('{', i);
            bytes.append(std::stoul(text.substr(i + 1)), text[open + 1]);
            i = open + 2;
        } else {
            bytes += "\n\r\t\x04\\"[std::string("nrte\\").find(text[i])];
        }
    }
    return bytes;
}

// The fields of a table's lines, which " | " parts; lines without are passed over.
inline std::vector<std::vector<std::string>> table(const std::string& file) {
    std::vector<std::vector<std::string>> rows;
    std::ifstream lines(TESTS "/" + file);
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> row;
        line += " ";
        for (size_t bar; (bar = line.find(" | ")) != std::string::npos; line.erase(0, bar + 3)) {
            row.push_back(unescaped(line.substr(0, bar)));
        }
        if (!row.empty()) {
            row.push_back(unescaped(line.substr(0, line.find_last_not_of(' ') + 1)));
            rows.push_back(row);
        }
    }
    EXPECT_FALSE(rows.empty()) << file;
    return rows;
}
