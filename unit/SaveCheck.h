#pragma once
// The check after a save: what was written is kept until the unit, restarted,
// has been read again, and then compared with what it holds.
//
// Threads: one, the owner's.
#include "link/CLBNVRAM.h"
#include "unit/FieldCatalogue.h"

#include <vector>

class SaveCheck {
public:
    // Connections tried after the restart before the check gives up.
    static constexpr int kAttempts = 3;

    struct Outcome {
        std::vector<FieldCatalogue::Change> m_Fields;   // named fields that differ
        int m_OtherBytes = 0;       // differing bytes of the written blocks that no field names
        bool Held() const { return m_Fields.empty() && m_OtherBytes == 0; }
    };

    void Arm(const CLBNVRAM& written, const std::vector<int>& blocks);
    void Disarm() { m_Armed = false; }
    bool Armed() const { return m_Armed; }
    // One more connection is tried; false when none is left.
    bool NextAttempt() { return ++m_Attempt <= kAttempts; }
    // `read` is the unit's image as read after the restart.
    Outcome Compare(const CLBNVRAM& read) const;
    // "label: written -> read" lines, and the count of other bytes.
    DBString Text(const CLBNVRAM& read, const Outcome& outcome) const;

private:
    CLBNVRAM m_Written;
    std::vector<int> m_Blocks;
    int m_Attempt = 0;
    bool m_Armed = false;
};
