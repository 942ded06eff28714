#include "ctl/CtlRun.h"

#include "base/ErrorXML.h"
#include "base/StringRes.h"
#include "ctl/FieldEdit.h"
#include "unit/CUnitLB.h"
#include "unit/ImageFile.h"
#include "unit/SaveCheck.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#ifndef VELK_VERSION
#define VELK_VERSION "dev"
#endif

namespace {

using Ms = std::chrono::milliseconds;

// The outcome of the command on one unit.
struct UnitResult {
    int m_Status = ctlOk;
    std::string m_Out;      // for standard output
    std::string m_Why;      // the reason of a failure, one line
};

// An image file or a unit's image, with what a head needs.
struct Source {
    CLBNVRAM m_Image;
    int m_TypLB = 0;
};

// Inputs read once, before any unit is touched: bad ones stop everything.
struct Prepared {
    std::vector<FieldSetting> m_Settings;
    ImageFileHead m_FileHead;
    CLBNVRAM m_File;
    std::vector<Source> m_Files;      // diff: the file operands
    std::vector<CtlTarget> m_Units;   // diff: unit:LINE operands
};

std::string OneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

std::string ErrorText(const ErrorXML& e)
{
    std::string text = e.what();
    if (e.GetCode() > 0) text += std::string(": ") + std::strerror(e.GetCode());
    return OneLine(text);
}

bool ReadFile(const std::string& path, Source& src, ImageFileHead& head, std::string& why)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return why = path + ": " + std::strerror(errno), false;
    std::string bytes;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        bytes.append(buf, static_cast<size_t>(in.gcount()));
        if (bytes.size() > ImageFile::kMaxSize) return why = path + ": too large for an image file", false;
    }
    if (in.bad()) return why = path + ": cannot be read", false;
    switch (ImageFile::Parse(bytes.data(), bytes.size(), head, src.m_Image)) {
    case ImageFileFault::none: src.m_TypLB = head.m_TypLB; return true;
    case ImageFileFault::empty: why = path + ": the file is empty"; break;
    case ImageFileFault::foreign: why = path + ": " + _S_(43004).ToStr(); break;
    case ImageFileFault::truncated: why = path + ": " + _S_(43005).ToStr(); break;
    case ImageFileFault::damaged: why = path + ": " + _S_(43006).ToStr(); break;
    }
    return false;
}

std::string Json(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') out += '\\', out += static_cast<char>(c);
        else if (c == '\n') out += "\\n";
        else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else out += static_cast<char>(c);
    }
    return out + "\"";
}

std::string ShowText(const CLBNVRAM& image, bool json)
{
    const auto fields = FieldCatalogue::Readable(image);
    std::string out;
    if (json) {
        out = "{";
        for (size_t i = 0; i < fields.size(); ++i)
            out += (i ? "," : "") + Json(fields[i].first) + ":" + Json(fields[i].second);
        return out + "}\n";
    }
    size_t width = 0;
    for (const auto& f : fields) width = std::max(width, f.first.size());
    for (const auto& f : fields) out += f.first + std::string(width + 2 - f.first.size(), ' ') + f.second + "\n";
    return out;
}

std::string DiffText(const CLBNVRAM& a, const CLBNVRAM& b)
{
    std::string out;
    for (const auto& c : FieldCatalogue::Diff(a, b))
        out += std::string(c.m_Field->m_Name) + ": " + (c.m_Field->m_Kind == FieldKind::LinkKey ? c.m_New
                                                                                               : c.m_Old + " -> " + c.m_New) + "\n";
    return out;
}

class Worker {
public:
    Worker(const CtlOptions& o, const Prepared& p) : m_O(o), m_P(p) {}

    UnitResult Run(const CtlTarget& t)
    {
        UnitResult r;
        try {
            RunOn(t, r);
        } catch (const ErrorXML& e) {
            r.m_Status = ctlUnitFailed;
            r.m_Why = ErrorText(e);
        }
        return r;
    }

private:
    Ms Limit() const { return Ms(static_cast<long>(m_O.timeout * 1000)); }

    bool ReadUnit(CClientLU& client, const CtlTarget& t, CUnitLB& unit, UnitResult& r)
    {
        client.Open(MakeTarget(t, client.m_PortLog));
        std::string why;
        if (client.Read(unit, Limit(), why)) return true;
        r.m_Status = ctlUnitFailed;
        r.m_Why = why + (unit.IsKnovDev() ? "" : " (no unit at that address, a wrong key, or a silent unit)");
        return false;
    }

    void RunOn(const CtlTarget& t, UnitResult& r)
    {
        CClientLU client;
        CUnitLB unit;
        if (!ReadUnit(client, t, unit, r)) return;
        switch (m_O.command) {
        case CtlCommand::read: {
            const std::string text = ImageFile::Text(HeadOf(unit, t.ident, "velkctl " VELK_VERSION, std::time(nullptr)),
                                                     unit.m_NVRAM, FieldCatalogue::Readable(unit.m_NVRAM));
            std::string path = m_O.output;
            if (!m_O.targetsFile.empty()) path = (std::filesystem::path(path) / (std::to_string(t.ident) + ".velk")).string();
            if (path.empty()) {
                r.m_Out = text;
                return;
            }
            std::ofstream f(path, std::ios::binary | std::ios::trunc);
            f.write(text.data(), static_cast<std::streamsize>(text.size()));
            f.close();
            if (!f) r.m_Status = ctlBadInput, r.m_Why = path + ": cannot be written";
            return;
        }
        case CtlCommand::show: r.m_Out = ShowText(unit.m_NVRAM, m_O.json); return;
        case CtlCommand::diff: {
            r.m_Out = DiffText(m_P.m_Files.at(0).m_Image, unit.m_NVRAM);
            if (!r.m_Out.empty()) r.m_Status = ctlDiffers;
            return;
        }
        case CtlCommand::set: {
            CLBNVRAM edited = unit.m_NVRAM;
            std::string why;
            if (!FieldEdit::Apply(m_P.m_Settings, edited, why)) {
                r.m_Status = ctlBadInput;
                r.m_Why = OneLine(why);
                return;
            }
            unit.m_NVRAM = edited;
            return Save(client, t, unit, r);
        }
        case CtlCommand::write: {
            if (m_P.m_FileHead.m_TypLB != unit.m_TypLB && !m_O.force) {
                char buf[256];
                std::snprintf(buf, sizeof buf, "the file holds an image of a unit of type %d, and this unit is of type %d (--force writes it)",
                              m_P.m_FileHead.m_TypLB, unit.m_TypLB);
                r.m_Status = ctlBadInput;
                r.m_Why = buf;
                return;
            }
            ImageFile::Merge(m_P.m_File, unit.m_NVRAM);
            return Save(client, t, unit, r);
        }
        default: return;
        }
    }

    // The differing blocks and the restart, then the check as the
    // configurator makes it: the unit read again by the same method.
    void Save(CClientLU& client, const CtlTarget& t, CUnitLB& unit, UnitResult& r)
    {
        const std::vector<int> blocks = unit.ChangedChunks();
        if (blocks.empty()) {
            r.m_Out = "nothing to change: nothing written\n";
            return;
        }
        r.m_Out = DiffText(unit.m_NVRAMOld, unit.m_NVRAM);
        SaveCheck check;
        check.Arm(unit.m_NVRAM, blocks);
        client.Save(unit);
        char buf[64];
        std::snprintf(buf, sizeof buf, "written: %zu blocks, and the restart\n", blocks.size());
        r.m_Out += buf;
        // The unit acknowledges the restart request before it goes.
        std::this_thread::sleep_for(Ms(300));
        client.Close();
        if (!m_O.check) return;
        while (check.NextAttempt()) {
            std::this_thread::sleep_for(Ms(static_cast<long>(m_O.checkDelay * 1000)));
            CUnitLB again;
            CClientLU reader;
            UnitResult ignored;
            try {
                if (!ReadUnit(reader, t, again, ignored)) continue;
            } catch (const ErrorXML&) {
                continue;   // a serial port not back yet
            }
            const SaveCheck::Outcome o = check.Compare(again.m_NVRAM);
            if (o.Held()) {
                r.m_Out += _S_(43011).ToStr() + "\n";
            } else {
                r.m_Status = ctlNotHeld;
                r.m_Out += _S_(43012).ToStr() + "\n" + check.Text(again.m_NVRAM, o).ToStr();
                r.m_Why = OneLine(_S_(43012).ToStr() + " " + check.Text(again.m_NVRAM, o).ToStr());
            }
            return;
        }
        r.m_Status = ctlNotHeld;
        r.m_Why = _S_(43013).ToStr();
    }

    const CtlOptions& m_O;
    const Prepared& m_P;
};

// Progress on a terminal: one line redrawn.
class Progress {
public:
    Progress(std::FILE* err, size_t total) : m_Err(err), m_Total(total), m_On(isatty(fileno(err)) && total > 1) { Draw(); }
    void Done(bool failed)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        ++m_Done;
        m_Failed += failed;
        Draw();
    }
    void End()
    {
        if (m_On) std::fprintf(m_Err, "\r%*s\r", 72, "");
    }

private:
    void Draw()
    {
        if (!m_On) return;
        constexpr size_t kWidth = 30;
        const size_t fill = m_Total ? m_Done * kWidth / m_Total : kWidth;
        std::fprintf(m_Err, "\r[%s%s] %zu/%zu, %zu failed", std::string(fill, '#').c_str(),
                     std::string(kWidth - fill, '.').c_str(), m_Done, m_Total, m_Failed);
        std::fflush(m_Err);
    }
    std::FILE* m_Err;
    size_t m_Total, m_Done = 0, m_Failed = 0;
    bool m_On;
    std::mutex m_Mutex;
};

const char* StatusWord(int status)
{
    switch (status) {
    case ctlOk: return "ok";
    case ctlDiffers: return "differs";
    case ctlBadInput: return "refused";
    case ctlUnitFailed: return "failed";
    default: return "not held";
    }
}

int RunMany(const CtlOptions& o, const Prepared& p, const std::vector<CtlTarget>& units, std::FILE* out, std::FILE* err)
{
    std::vector<UnitResult> results(units.size());
    std::atomic<size_t> next{0};
    Progress progress(err, units.size());
    Worker worker(o, p);
    auto work = [&] {
        for (size_t i; (i = next++) < units.size();) {
            results[i] = worker.Run(units[i]);
            progress.Done(results[i].m_Status != ctlOk && results[i].m_Status != ctlDiffers);
        }
    };
    std::vector<std::thread> threads;
    const size_t n = std::min<size_t>(static_cast<size_t>(o.jobs), units.size());
    for (size_t i = 0; i < n; ++i) threads.emplace_back(work);
    for (auto& t : threads) t.join();
    progress.End();

    int status = ctlOk;
    size_t width = 4;
    for (const auto& u : units) width = std::max(width, u.Name().size());
    for (size_t i = 0; i < units.size(); ++i) {
        status = std::max(status, results[i].m_Status);
        if (results[i].m_Out.empty()) continue;
        if (units.size() > 1 && !(o.json && o.command == CtlCommand::show))
            std::fprintf(out, "== %s\n", units[i].Name().c_str());
        if (units.size() > 1 && o.json && o.command == CtlCommand::show) {
            std::string obj = results[i].m_Out;
            obj.pop_back();   // the line break
            std::fprintf(out, "{\"unit\":%s,\"fields\":%s}\n", Json(units[i].Name()).c_str(), obj.c_str());
        } else {
            std::fputs(results[i].m_Out.c_str(), out);
        }
    }
    std::fflush(out);
    if (units.size() == 1) {
        if (!results[0].m_Why.empty()) std::fprintf(err, "velkctl: %s: %s\n", units[0].Name().c_str(), results[0].m_Why.c_str());
        return status;
    }
    size_t ok = 0;
    std::fprintf(err, "%-*s  %-8s  %s\n", static_cast<int>(width), "UNIT", "RESULT", "REASON");
    for (size_t i = 0; i < units.size(); ++i) {
        ok += results[i].m_Status == ctlOk || results[i].m_Status == ctlDiffers;
        std::fprintf(err, "%-*s  %-8s  %s\n", static_cast<int>(width), units[i].Name().c_str(),
                     StatusWord(results[i].m_Status), results[i].m_Why.c_str());
    }
    std::fprintf(err, "%zu of %zu units done, %zu failed\n", ok, units.size(), units.size() - ok);
    return status;
}

const char* KindName(FieldKind kind)
{
    switch (kind) {
    case FieldKind::Byte: return "byte";
    case FieldKind::PortBE: return "port";
    case FieldKind::IPv4: return "ipv4";
    case FieldKind::Ident: return "ident";
    case FieldKind::MAC: return "mac";
    case FieldKind::Text: return "text";
    case FieldKind::LinkKey: return "key";
    case FieldKind::Secret: return "secret";
    case FieldKind::Hex: return "hex";
    }
    return "?";
}

int Refuse(std::FILE* err, const std::string& why)
{
    std::fprintf(err, "velkctl: %s\n", OneLine(why).c_str());
    return ctlBadInput;
}

}  // namespace

int RunCtl(const CtlOptions& o, std::FILE* out, std::FILE* err)
{
    if (o.version) {
        std::fprintf(out, "velkctl %s\n", VELK_VERSION);
        return ctlOk;
    }
    if (o.help) {
        std::fputs(CtlHelp(o.command).c_str(), out);
        return ctlOk;
    }
    if (o.command == CtlCommand::fields) {
        for (const FieldDef& f : FieldCatalogue::All())
            std::fprintf(out, "%-24s %-6s %s\n", f.m_Name, KindName(f.m_Kind), _S_(f.m_Label).ToStr().c_str());
        return ctlOk;
    }

    Prepared p;
    std::string why;
    std::vector<CtlTarget> units;
    if (!o.targetsFile.empty()) {
        std::ifstream in(o.targetsFile, std::ios::binary);
        if (!in) return Refuse(err, o.targetsFile + ": " + std::strerror(errno));
        std::stringstream text;
        text << in.rdbuf();
        if (!ParseTargets(text.str(), units, why)) return Refuse(err, o.targetsFile + ": " + why);
    } else if (o.hasTarget) {
        units.push_back(o.target);
    }
    if (o.command == CtlCommand::set && !FieldEdit::Parse(o.operands, p.m_Settings, why)) return Refuse(err, why);
    if (o.command == CtlCommand::write) {
        Source src;
        if (!ReadFile(o.operands[0], src, p.m_FileHead, why)) return Refuse(err, why);
        p.m_File = src.m_Image;
    }
    if (o.command == CtlCommand::show && !o.operands.empty()) {
        Source src;
        ImageFileHead head;
        if (!ReadFile(o.operands[0], src, head, why)) return Refuse(err, why);
        std::fputs(ShowText(src.m_Image, o.json).c_str(), out);
        return ctlOk;
    }
    if (o.command == CtlCommand::diff) {
        // Each operand: a file, or unit:LINE read now.
        std::vector<Source> sides;
        for (const std::string& a : o.operands) {
            Source src;
            if (a.rfind("unit:", 0) == 0) {
                CtlTarget t;
                if (!ParseTargetLine(a.substr(5), t, why)) return Refuse(err, a + ": " + why);
                CClientLU client;
                CUnitLB unit;
                try {
                    client.Open(MakeTarget(t, client.m_PortLog));
                    if (!client.Read(unit, Ms(static_cast<long>(o.timeout * 1000)), why)) {
                        std::fprintf(err, "velkctl: %s: %s\n", t.Name().c_str(), why.c_str());
                        return ctlUnitFailed;
                    }
                } catch (const ErrorXML& e) {
                    std::fprintf(err, "velkctl: %s: %s\n", t.Name().c_str(), ErrorText(e).c_str());
                    return ctlUnitFailed;
                }
                src.m_Image = unit.m_NVRAM;
            } else {
                ImageFileHead head;
                if (!ReadFile(a, src, head, why)) return Refuse(err, why);
            }
            sides.push_back(src);
        }
        if (sides.size() == 2) {
            const std::string text = DiffText(sides[0].m_Image, sides[1].m_Image);
            std::fputs(text.c_str(), out);
            return text.empty() ? ctlOk : ctlDiffers;
        }
        p.m_Files = sides;
    }
    return RunMany(o, p, units, out, err);
}
