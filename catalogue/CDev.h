#pragma once
// CDev: one device seen by a unit, as far as the configurator needs it: a
// device kind and, for lift controllers, the controller's make, turned into
// the label shown to the engineer.
#include "base/DBString.h"

class CDev {
public:
    // Variants of the generation 7 terminal, reported as the sub-type of
    // device kind 14.
    enum typTerm7 { term7Base = 0, term7WiFi = 1, term7G4 = 2, term7WiFiG4 = 3 };

    // Device kinds that have labels of their own beyond "kind (code)".
    static constexpr int kindLiftController = 0;
    static constexpr int kindLiftControllerCAN = 1;
    static constexpr int kindLU = 12;
    static constexpr int kindLU7 = 14;
    static constexpr int hwSubCM3 = 2;   // hardware sub-type of a kind-12 unit that is a CM3
    static constexpr int kindCount = 16;
    static constexpr int controllerCount = 137;

    explicit CDev(bool empty = true);
    CDev(int kind, int code) : m_TypDev(kind), m_TypCtrl(code) {}

    // The label: the controller's make for the controller kinds, the
    // variant's name for known units, otherwise the kind's label and
    // " (code)". An unknown combination gives "(kind) (code)", so that a new
    // device shows as numbers, not as an error.
    DBString TypLB() const;

    // A unit's generation, from the kind and hardware sub-type of its
    // information reply: generation 7 is kind 14; CM3 is kind 12 with
    // hardware sub-type 2. Both keep the description at 0x180 and eight
    // link records.
    static bool IsV7(int typLB) { return typLB == kindLU7; }
    static bool IsCM3OrV7(int typLB, int typLBSub) { return (typLB == kindLU && typLBSub == hwSubCM3) || IsV7(typLB); }

    static DBString S(unsigned int id);
    // Label of a generation 7 terminal; *found tells whether the variant is known.
    static DBString TypTerm7(typTerm7 term, bool* found);
    // Label of a lift controller make, or empty for an unknown code.
    static DBString Controller(int code);

    int m_TypDev = 0;    // device kind
    int m_TypCtrl = 0;   // controller code, or the sub-type of a unit
};
