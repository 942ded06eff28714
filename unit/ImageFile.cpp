#include "unit/ImageFile.h"

#include "base/md5.h"
#include "unit/CUnitLB.h"
#include "unit/FieldCatalogue.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kMagic = "Velkonf unit image";
constexpr int kRow = 32;   // image bytes per line

std::string Md5Hex(std::string_view text)
{
    md5 ctx;
    md5_starts(ctx);
    md5_update(ctx, text.data(), text.size());
    unsigned char digest[16];
    md5_finish(ctx, digest);
    std::string hex;
    char b[3];
    for (unsigned char d : digest) {
        std::snprintf(b, sizeof b, "%02x", d);
        hex += b;
    }
    return hex;
}

void AppendHex(std::string& out, const unsigned char* data, int len)
{
    static const char kDigits[] = "0123456789ABCDEF";
    for (int i = 0; i < len; ++i) {
        out += kDigits[data[i] >> 4];
        out += kDigits[data[i] & 15];
    }
}

bool ParseHex(std::string_view text, unsigned char* out, size_t len)
{
    if (text.size() != 2 * len) return false;
    auto digit = [](char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    for (size_t i = 0; i < len; ++i) {
        const int hi = digit(text[2 * i]), lo = digit(text[2 * i + 1]);
        if (hi < 0 || lo < 0) return false;
        out[i] = static_cast<unsigned char>(hi << 4 | lo);
    }
    return true;
}

bool ParseInt(std::string_view text, long min, long max, int& out)
{
    if (text.empty() || text.size() > 11) return false;
    std::string s(text);
    char* end = nullptr;
    const long v = std::strtol(s.c_str(), &end, 10);
    if (*end || v < min || v > max) return false;
    out = static_cast<int>(v);
    return true;
}

// A value on one line: control characters would end the line early.
std::string OneLine(const std::string& text)
{
    std::string s = text;
    for (char& c : s)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return s;
}

}  // namespace

std::string ImageFile::Text(const ImageFileHead& head, const CLBNVRAM& image, const ImageFileFields& fields)
{
    std::string t(kMagic);
    t += "\nformat " + std::to_string(kFormat) + "\n";
    t += "program " + OneLine(head.m_Program) + "\n";
    t += "date " + OneLine(head.m_Date) + "\n";
    t += "unit " + std::to_string(head.m_Ident) + "\n";
    t += "type " + std::to_string(head.m_TypLB) + "\n";
    t += "subtype " + std::to_string(head.m_SubTyp) + "\n";
    t += "hwsubtype " + std::to_string(head.m_TypLBSub) + "\n";
    t += "version " + std::to_string(head.m_Version[0]) + "." + std::to_string(head.m_Version[1]) + "." +
         std::to_string(head.m_Version[2]) + "\n";
    for (const auto& [name, value] : fields) t += "field " + OneLine(name) + " = " + OneLine(value) + "\n";
    char adr[8];
    for (int a = 0; a < CLBNVRAM::kSize; a += kRow) {
        std::snprintf(adr, sizeof adr, "%03X", a);
        t += "image ";
        t += adr;
        t += ' ';
        AppendHex(t, image.m_Data + a, kRow);
        t += ' ';
        AppendHex(t, image.m_Knov + a / 8, kRow / 8);
        t += '\n';
    }
    t += "md5 " + Md5Hex(t) + "\n";
    return t;
}

ImageFileFault ImageFile::Parse(const char* data, size_t len, ImageFileHead& head, CLBNVRAM& image)
{
    if (len == 0) return ImageFileFault::empty;
    const std::string_view text(data, std::min(len, kMaxSize + 1));
    if (text.size() > kMaxSize || text.substr(0, kMagic.size() + 1) != std::string(kMagic) + "\n")
        return ImageFileFault::foreign;
    // The checksum line is the last; what lies above it is what it covers.
    const size_t md5At = text.rfind("\nmd5 ");
    if (md5At == std::string_view::npos) return ImageFileFault::truncated;
    const std::string_view sum = text.substr(md5At + 5);
    if (sum.size() <= 32) return ImageFileFault::truncated;
    if (sum.substr(32) != "\n" || sum.substr(0, 32) != Md5Hex(text.substr(0, md5At + 1)))
        return ImageFileFault::damaged;

    ImageFileHead h;
    CLBNVRAM img;
    std::map<std::string, std::string_view> keys;
    int rows = 0;
    size_t pos = kMagic.size() + 1;
    while (pos <= md5At) {
        const size_t end = text.find('\n', pos);
        const std::string_view line = text.substr(pos, end - pos);
        pos = end + 1;
        const size_t space = line.find(' ');
        if (space == std::string_view::npos) return ImageFileFault::damaged;
        const std::string key(line.substr(0, space));
        const std::string_view value = line.substr(space + 1);
        if (key == "field") continue;   // for people; the image holds the truth
        if (key == "image") {
            // "AAA <64 hex> <8 hex>", rows in order of address
            unsigned char a[2];
            if (value.size() != 3 + 1 + 2 * kRow + 1 + kRow / 4 || value[3] != ' ' || value[4 + 2 * kRow] != ' ' ||
                !ParseHex("0" + std::string(value.substr(0, 3)), a, 2))
                return ImageFileFault::damaged;
            const int adr = a[0] << 8 | a[1];
            if (adr != rows * kRow || !ParseHex(value.substr(4, 2 * kRow), img.m_Data + adr, kRow) ||
                !ParseHex(value.substr(5 + 2 * kRow), img.m_Knov + adr / 8, kRow / 8))
                return ImageFileFault::damaged;
            ++rows;
            continue;
        }
        if (keys.count(key)) return ImageFileFault::damaged;
        keys[key] = value;
    }
    int format = 0;
    if (!keys.count("format") || !ParseInt(keys["format"], 0, 1 << 30, format)) return ImageFileFault::damaged;
    if (format != kFormat) return ImageFileFault::foreign;   // a newer program's file
    int ident = 0;
    if (rows * kRow != CLBNVRAM::kSize || !ParseInt(keys["unit"], INT32_MIN, INT32_MAX, ident) ||
        !ParseInt(keys["type"], 0, 255, h.m_TypLB) || !ParseInt(keys["subtype"], 0, 255, h.m_SubTyp) ||
        !ParseInt(keys["hwsubtype"], 0, 255, h.m_TypLBSub))
        return ImageFileFault::damaged;
    h.m_Ident = ident;
    const std::string version(keys["version"]);
    int a = -1, b = -1, c = -1, n = 0;
    if (std::sscanf(version.c_str(), "%d.%d.%d%n", &a, &b, &c, &n) != 3 || n != static_cast<int>(version.size()) ||
        a < 0 || b < 0 || c < 0)
        return ImageFileFault::damaged;
    h.m_Version[0] = a, h.m_Version[1] = b, h.m_Version[2] = c;
    h.m_Date = std::string(keys["date"]);
    h.m_Program = std::string(keys["program"]);
    head = h;
    image = img;
    return ImageFileFault::none;
}

ImageFileHead HeadOf(const CUnitLB& unit, int32_t ident, const std::string& program, time_t now)
{
    ImageFileHead h;
    h.m_TypLB = unit.m_TypLB;
    h.m_SubTyp = unit.m_SubTyp;
    h.m_TypLBSub = unit.m_TypLBSub;
    std::copy(unit.m_Version, unit.m_Version + 3, h.m_Version);
    h.m_Ident = ident;
    h.m_Program = program;
    struct tm tm {};
    localtime_r(&now, &tm);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &tm);
    h.m_Date = date;
    return h;
}

int ImageFile::Merge(const CLBNVRAM& file, CLBNVRAM& into, ImageMergeRules rules)
{
    int changed = 0;
    for (const FieldDef& f : FieldCatalogue::All()) {
        const std::string_view name = f.m_Name;
        if (f.m_Kind == FieldKind::MAC || (name == "System.Ident" && !rules.m_Ident) ||
            (name.starts_with("Descriptors.") && !rules.m_Descriptor))
            continue;
        const unsigned char mask = f.m_Mask ? f.m_Mask : 0xFF;
        for (int adr = f.m_Adr; adr < f.m_Adr + f.m_Len; ++adr) {
            if (!file.IsKnovByte(adr) || !into.IsKnovByte(adr)) continue;
            const unsigned char b = static_cast<unsigned char>((into.m_Data[adr] & ~mask) | (file.m_Data[adr] & mask));
            if (b != into.m_Data[adr]) ++changed;
            into.m_Data[adr] = b;
        }
    }
    return changed;
}

// ---------------------------------------------------------------- ImageBackup

bool ImageBackup::Take(const CUnitLB& unit, int32_t ident, const std::string& program, std::string& why)
{
    const time_t now = std::time(nullptr);
    const ImageFileHead head = HeadOf(unit, ident, program, now);
    return Write(ident, ImageFile::Text(head, unit.m_NVRAM, FieldCatalogue::Readable(unit.m_NVRAM)), why, now);
}

std::string ImageBackup::Folder()
{
    const char* home = std::getenv("HOME");
    if (!home || !*home) return {};
    return std::string(home) + "/VELK/backup/";
}

std::vector<std::string> ImageBackup::List(int32_t ident)
{
    std::vector<std::string> files;
    const std::string folder = Folder();
    if (folder.empty()) return files;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder + std::to_string(ident), ec))
        if (e.is_regular_file(ec) && e.path().extension() == ".velk") files.push_back(e.path().string());
    std::sort(files.begin(), files.end());   // names begin with the time, so this is oldest first
    return files;
}

bool ImageBackup::Write(int32_t ident, const std::string& text, std::string& why, time_t now)
{
    const std::string folder = Folder();
    if (folder.empty()) {
        why = "HOME is not set";
        return false;
    }
    const std::string dir = folder + std::to_string(ident) + "/";
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) {
        why = dir + ": " + ec.message();
        return false;
    }
    if (now == 0) now = std::time(nullptr);
    struct tm tm {};
    localtime_r(&now, &tm);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &tm);
    // Two reads within a second keep both: a counter behind the time.
    std::string path;
    for (int n = 0; n < 100 && path.empty(); ++n) {
        char name[64];
        std::snprintf(name, sizeof name, "%s-%02d.velk", stamp, n);
        if (!fs::exists(dir + name, ec)) path = dir + name;
    }
    if (path.empty()) {
        why = dir + ": too many backups within one second";
        return false;
    }
    // Written beside and renamed, so that no reader ever sees half a backup.
    const std::string tmp = path + ".tmp";
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        out.flush();
        if (!out) {
            why = tmp + ": " + std::strerror(errno);
            fs::remove(tmp, ec);
            return false;
        }
    }
    fs::rename(tmp, path, ec);
    if (ec) {
        why = path + ": " + ec.message();
        fs::remove(tmp, ec);
        return false;
    }
    std::vector<std::string> files = List(ident);
    for (size_t i = 0; i + kKeep < files.size(); ++i) fs::remove(files[i], ec);
    return true;
}
