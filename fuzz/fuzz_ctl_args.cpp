// velkctl's command line: arguments separated by zero bytes, then, for set,
// the FIELD=VALUE operands put into an image through the pages' checks.
// Seeds: fuzz/corpus/ctl_args/.
#include "ctl/CtlArgs.h"
#include "ctl/FieldEdit.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<std::string> args(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) args.emplace_back();
        else args.back().push_back(static_cast<char>(data[i]));
    }
    CtlOptions o;
    std::string error;
    if (!ParseCtlArgs(args, o, error)) {
        if (error.empty()) std::abort();
        return 0;
    }
    if (o.jobs < 1 || o.jobs > 256 || o.timeout <= 0) std::abort();
    if (o.hasTarget && !CheckTarget(o.target, error)) std::abort();
    std::vector<FieldSetting> settings;
    if (o.command != CtlCommand::set || !FieldEdit::Parse(o.operands, settings, error)) return 0;
    CLBNVRAM image;
    const CLBNVRAM before = image;
    // Refused or taken, the change stays inside the image's named fields.
    FieldEdit::Apply(settings, image, error);
    std::vector<bool> named(CLBNVRAM::kSize, false);
    for (const FieldDef& f : FieldCatalogue::All())
        for (int i = 0; i < f.m_Len; ++i) named[static_cast<size_t>(f.m_Adr + i)] = true;
    for (int i = 0; i < CLBNVRAM::kSize; ++i)
        if (!named[static_cast<size_t>(i)] && image.m_Data[i] != before.m_Data[i]) std::abort();
    return 0;
}
