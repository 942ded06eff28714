#pragma once
// A unit's image as a text file: a head that names the unit, the named fields
// in readable form (for people; never read back), and the whole 2048-byte
// image with its known bits, under an MD5 checksum. Only the image is what a
// restore takes. The format is described in docs/image-file.md.
//
// Threads: any; nothing here is shared.
#include "link/CLBNVRAM.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

struct ImageFileHead {
    int m_TypLB = 0;             // unit type
    int m_SubTyp = 0;            // the catalogue's sub-type
    int m_TypLBSub = 0;          // hardware sub-type
    int m_Version[3] = {0, 0, 0};
    int32_t m_Ident = 0;         // the unit's node
    std::string m_Date;          // when the image was read, "yyyy-mm-dd hh:mm:ss"
    std::string m_Program;       // the program and version that wrote it
};

// Why a file was refused.
enum class ImageFileFault {
    none,
    empty,       // no byte at all
    foreign,     // not an image file of this program, or of a newer format
    truncated,   // cut before its checksum
    damaged,     // the checksum or a line does not hold
};

// Name and value of one readable field line.
using ImageFileFields = std::vector<std::pair<std::string, std::string>>;

// What a restore may take besides the fields every page writes: the
// identifier and the description only when their service settings let the
// pages edit them.
struct ImageMergeRules {
    bool m_Ident = false;
    bool m_Descriptor = false;
};

class ImageFile {
public:
    static constexpr int kFormat = 1;
    static constexpr size_t kMaxSize = 1 << 20;   // far above any file this writes

    static std::string Text(const ImageFileHead& head, const CLBNVRAM& image, const ImageFileFields& fields);
    // On anything but none, `head` and `image` are left as they were.
    static ImageFileFault Parse(const char* data, size_t len, ImageFileHead& head, CLBNVRAM& image);
    // A restore into a unit's working image: the bytes of the named fields
    // that the file knows and the unit holds; never a MAC address, never a
    // byte that no page writes. The count of bytes that changed.
    static int Merge(const CLBNVRAM& file, CLBNVRAM& into, ImageMergeRules rules = {});
};

// The automatic backup of every image completely read: one folder per unit
// under ~/VELK/backup/, the newest kKeep files kept.
class CUnitLB;

// The head of a file of what `unit` holds now.
ImageFileHead HeadOf(const CUnitLB& unit, int32_t ident, const std::string& program, time_t now);

class ImageBackup {
public:
    static constexpr int kKeep = 20;

    // ~/VELK/backup/ ; empty when HOME is not set.
    static std::string Folder();
    // Writes `text` as the newest backup of unit `ident`, then removes all but
    // the newest kKeep. False with the reason in `why`; nothing else happens.
    static bool Write(int32_t ident, const std::string& text, std::string& why, time_t now = 0);
    // The unit's backups, oldest first.
    static std::vector<std::string> List(int32_t ident);
    // The backup of a unit whose image has just been read completely.
    static bool Take(const CUnitLB& unit, int32_t ident, const std::string& program, std::string& why);
};
