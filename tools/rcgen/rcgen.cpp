// rcgen: turns the translators' string files (gettext .po, one per library)
// into the C++ fill functions of the two string tables.
//
//   rcgen OUT.cpp FILE.po...
//
// An entry is
//   msgctxt "10005"        the text's identifier, decimal
//   msgid   "Save"         English
//   msgstr  "Сохранить"    Russian
// Each file is named after its library (Velkonf.po, VELKUiLib.po, ...) and
// may only hold identifiers of that library's range. A missing translation,
// a duplicate identifier or an identifier outside the range stops the build:
// a text that exists in one language only would show as "RUS%d" on screen.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Library {
    const char* name;
    int first;
    int last;
};

// VELKDbLib lies inside the span of VELKLib, so it is looked up first.
const Library kLibraries[] = {
    {"Velkonf", 0x2710, 0x2903},   // 10000..10499
    {"VELKUiLib", 0x61A8, 0x621D},
    {"VELKDbLib", 0xA410, 0xA472},
    {"VELKLib", 0xA028, 0xAB4D},
};

const Library* LibraryOf(int id)
{
    for (const auto& lib : kLibraries)
        if (id >= lib.first && id <= lib.last) return &lib;
    return nullptr;
}

struct Entry {
    std::string en, ru;
    std::string where;
};

struct Failure {
    std::string text;
};

[[noreturn]] void Fail(const std::string& where, const std::string& what)
{
    throw Failure{where + ": " + what};
}

// Reads one quoted PO string starting at s[pos] == '"'.
std::string Unquote(const std::string& s, size_t pos, const std::string& where)
{
    if (pos >= s.size() || s[pos] != '"') Fail(where, "expected a quoted string");
    std::string out;
    for (size_t i = pos + 1; i < s.size(); ++i) {
        char c = s[i];
        if (c == '"') {
            for (size_t j = i + 1; j < s.size(); ++j)
                if (s[j] != ' ' && s[j] != '\t' && s[j] != '\r') Fail(where, "text after the closing quote");
            return out;
        }
        if (c == '\\') {
            if (++i >= s.size()) break;
            switch (s[i]) {
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case '"': out += '"'; break;
            case '\\': out += '\\'; break;
            default: Fail(where, std::string("unknown escape \\") + s[i]);
            }
        } else {
            out += c;
        }
    }
    Fail(where, "missing closing quote");
}

void ReadPo(const std::string& path, const Library& lib, std::map<int, Entry>& all)
{
    std::ifstream in(path);
    if (!in) Fail(path, "cannot open");

    std::string ctxt, id, str, *current = nullptr;
    bool hasCtxt = false, hasId = false, hasStr = false;
    int entryLine = 0;

    auto flush = [&](int line) {
        if (!hasId && !hasCtxt && !hasStr) return;
        std::string where = path + ":" + std::to_string(entryLine);
        if (!hasId || !hasStr) Fail(where, "entry needs msgid and msgstr");
        if (!hasCtxt) {
            if (!id.empty()) Fail(where, "entry without msgctxt (the identifier)");
        } else {
            char* end = nullptr;
            long n = std::strtol(ctxt.c_str(), &end, 10);
            if (ctxt.empty() || *end != '\0') Fail(where, "msgctxt must be a decimal identifier");
            const Library* owner = LibraryOf(static_cast<int>(n));
            if (owner != &lib)
                Fail(where, "identifier " + ctxt + " does not belong to " + lib.name);
            if (id.empty()) Fail(where, "empty English text for " + ctxt);
            if (str.empty()) Fail(where, "missing Russian text for " + ctxt);
            auto [it, fresh] = all.emplace(static_cast<int>(n), Entry{id, str, where});
            if (!fresh) Fail(where, "identifier " + ctxt + " already defined at " + it->second.where);
        }
        ctxt.clear(); id.clear(); str.clear();
        hasCtxt = hasId = hasStr = false;
        current = nullptr;
        entryLine = line;
    };

    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        std::string where = path + ":" + std::to_string(lineNo);
        size_t p = line.find_first_not_of(" \t\r");
        if (p == std::string::npos || line[p] == '#') continue;
        auto starts = [&](const char* kw) { return line.compare(p, std::strlen(kw), kw) == 0; };
        if (starts("msgctxt ")) {
            flush(lineNo);
            entryLine = lineNo;
            hasCtxt = true;
            ctxt = Unquote(line, line.find('"', p), where);
            current = &ctxt;
        } else if (starts("msgid ")) {
            if (hasId) flush(lineNo);
            if (!hasCtxt) entryLine = lineNo;
            hasId = true;
            id = Unquote(line, line.find('"', p), where);
            current = &id;
        } else if (starts("msgstr ")) {
            hasStr = true;
            str = Unquote(line, line.find('"', p), where);
            current = &str;
        } else if (line[p] == '"') {
            if (!current) Fail(where, "continuation line outside an entry");
            *current += Unquote(line, p, where);
        } else {
            Fail(where, "unknown line");
        }
    }
    flush(lineNo);
}

std::string CppLiteral(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\%03o", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

std::string BaseName(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    size_t dot = name.rfind(".po");
    return dot == std::string::npos ? name : name.substr(0, dot);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::cerr << "usage: rcgen OUT.cpp FILE.po...\n";
        return 2;
    }
    try {
        std::map<std::string, std::map<int, Entry>> byLib;
        std::map<int, Entry> all;
        for (int i = 2; i < argc; ++i) {
            std::string name = BaseName(argv[i]);
            const Library* lib = nullptr;
            for (const auto& l : kLibraries)
                if (name == l.name) lib = &l;
            if (!lib) Fail(argv[i], "file name must be a library name, e.g. Velkonf.po");
            ReadPo(argv[i], *lib, all);
        }
        for (auto& [id, e] : all) byLib[LibraryOf(id)->name][id] = e;

        std::ostringstream out;
        out << "// Generated by rcgen from base/res/*.po. Edit the .po files, not this.\n"
               "#include \"base/StringRes.h\"\n\n";
        for (const auto& lib : kLibraries) {
            const auto& entries = byLib[lib.name];
            out << "void " << lib.name << "ENU_rc()\n{\n";
            for (const auto& [id, e] : entries)
                out << "    g_StringLocaleENU.Insert(" << id << ", " << CppLiteral(e.en) << ");\n";
            out << "}\n\nvoid " << lib.name << "_rc()\n{\n";
            for (const auto& [id, e] : entries)
                out << "    g_StringLocale.Insert(" << id << ", " << CppLiteral(e.ru) << ");\n";
            out << "}\n\n";
        }
        out << "int StringResourceCount() { return " << all.size() << "; }\n";

        // Rewrite only on change, so that an untouched table is not recompiled.
        std::string text = out.str();
        std::ifstream old(argv[1]);
        std::stringstream oldText;
        oldText << old.rdbuf();
        if (oldText.str() != text) {
            std::ofstream o(argv[1]);
            o << text;
            if (!o) Fail(argv[1], "cannot write");
        }
    } catch (const Failure& f) {
        std::cerr << "rcgen: " << f.text << "\n";
        return 1;
    }
    return 0;
}
