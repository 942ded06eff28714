#pragma once
// The two XML attribute helpers of the cloud data model that the
// configurator uses; the rest of that model is not part of this program.
#include "base/DBString.h"

#include <libxml/tree.h>

namespace VELKCloud {

class CNodeB {
public:
    // The attribute's value (UTF-8 in the file). A missing attribute gives an
    // empty text, or ErrorXML(41075, element, attribute) when it is mandatory.
    static DBString XMLLoadString(xmlNode* node, const char* element, const char* attribute, bool mandatory);
    // Writes the value; an empty value removes the attribute. A failed write
    // raises ErrorXML(41076, element, attribute).
    static void XMLUpdateString(xmlNode* node, const DBString& value, const char* element, const char* attribute);
};

}  // namespace VELKCloud
