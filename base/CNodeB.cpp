#include "base/CNodeB.h"

#include "base/ErrorXML.h"

namespace VELKCloud {

namespace {
const xmlChar* X(const char* s) { return reinterpret_cast<const xmlChar*>(s); }
}  // namespace

DBString CNodeB::XMLLoadString(xmlNode* node, const char* element, const char* attribute, bool mandatory)
{
    xmlChar* value = node ? xmlGetProp(node, X(attribute)) : nullptr;
    if (!value) {
        if (mandatory) throw ErrorXML(41075, DBString(element), DBString(attribute));
        return {};
    }
    DBString text(reinterpret_cast<const char*>(value));
    xmlFree(value);
    return text;
}

void CNodeB::XMLUpdateString(xmlNode* node, const DBString& value, const char* element, const char* attribute)
{
    if (!node) throw ErrorXML(41076, DBString(element), DBString(attribute));
    if (value.empty()) {
        xmlUnsetProp(node, X(attribute));   // absent already is fine too
        return;
    }
    if (!xmlSetProp(node, X(attribute), X(value.ToStr().c_str())))
        throw ErrorXML(41076, DBString(element), DBString(attribute));
}

}  // namespace VELKCloud
