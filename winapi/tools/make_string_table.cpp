// Build-time tool: turns the strings table text (lines "decimal id = text")
// into a C++ source with a sorted table, so the strings are compiled into the
// library. Usage: make_string_table INPUT OUTPUT
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

std::string Trim(const std::string& s)
{
    const size_t a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos)
        return "";
    const size_t b = s.find_last_not_of(" \t\r");
    return s.substr(a, b - a + 1);
}

// The text with the file's escapes (\n, \t, \\) applied.
std::string Unescape(const std::string& s)
{
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size()) {
            const char c = s[++i];
            out += c == 'n' ? '\n' : c == 't' ? '\t' : c;
        } else {
            out += s[i];
        }
    }
    return out;
}

// A C string literal: printable ASCII as is, everything else as a
// three-digit octal escape (which cannot run into the next character).
std::string Literal(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7F && c != '?') {
            out += static_cast<char>(c);
        } else {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\%03o", c);
            out += esc;
        }
    }
    return out + "\"";
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: make_string_table INPUT OUTPUT\n";
        return 2;
    }
    std::ifstream in(argv[1]);
    if (!in) {
        std::cerr << argv[1] << ": cannot open\n";
        return 1;
    }
    std::map<unsigned, std::string> table;
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        const std::string t = Trim(line);
        if (t.empty() || t[0] == '#')
            continue;
        const size_t eq = t.find('=');
        const std::string key = eq == std::string::npos ? "" : Trim(t.substr(0, eq));
        if (key.empty() || key.find_first_not_of("0123456789") != std::string::npos || key.size() > 9) {
            std::cerr << argv[1] << ":" << lineNo << ": expected \"decimal id = text\"\n";
            return 1;
        }
        const unsigned id = static_cast<unsigned>(std::strtoul(key.c_str(), nullptr, 10));
        if (table.count(id)) {
            std::cerr << argv[1] << ":" << lineNo << ": id " << id << " given twice\n";
            return 1;
        }
        table[id] = Unescape(Trim(t.substr(eq + 1)));
    }

    std::ostringstream out;
    out << "// Generated from " << argv[1] << " by make_string_table. Do not edit.\n"
        << "#include \"StringTable.h\"\n\n"
        << "const StringTableEntry g_StringTable[] = {\n";
    for (const auto& [id, text] : table)
        out << "    {" << id << "u, " << Literal(text) << "},\n";
    if (table.empty())
        out << "    {0u, nullptr},\n";
    out << "};\n"
        << "const size_t g_StringTableCount = " << table.size() << ";\n";

    std::ofstream file(argv[2], std::ios::binary | std::ios::trunc);
    file << out.str();
    if (!file) {
        std::cerr << argv[2] << ": cannot write\n";
        return 1;
    }
    return 0;
}
