#pragma once
// Named fields set from text, as `velkctl set System.NTP=pool.example`
// does. Each value is parsed by the kind of its field (FieldKind), so that
// a page's new field map works without new code here; a page whose logic
// half has its own checks (SystemFields) gets its fields through those
// checks, and its refusals read as the page's.
//
// Threads: any; nothing here is shared.
#include "link/CLBNVRAM.h"
#include "unit/FieldCatalogue.h"

#include <string>
#include <string_view>
#include <vector>

struct FieldSetting {
    const FieldDef* m_Field = nullptr;
    std::string m_Value;       // UTF-8, as typed
};

class FieldEdit {
public:
    // "Page.Field=VALUE" arguments. False on an unknown field, a missing
    // '=', or a field named twice; `why` says which.
    static bool Parse(const std::vector<std::string>& args, std::vector<FieldSetting>& out, std::string& why);
    // Puts every setting into `image`, page by page. False with the page's
    // message on the first refusal; `image` may then hold part of the change
    // and is to be thrown away.
    static bool Apply(const std::vector<FieldSetting>& settings, CLBNVRAM& image, std::string& why);
    // One value by its kind alone. The refusal reads "Name: value - reason".
    static bool Encode(const FieldDef& field, std::string_view value, CLBNVRAM& image, std::string& why);
};
