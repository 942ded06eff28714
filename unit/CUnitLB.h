#pragma once
// CUnitLB: what the configurator knows of the one unit it talks to, and the
// exchange that fills and saves it, without any window: the requests of a
// read, the information and read replies taken into the image, the rule that
// says the image is complete, and the requests of a save. The configurator's
// application object is one (its pages read and edit m_NVRAM); a tool
// without a window can be another.
//
// Threads: one, the owner's (the user-interface thread in the configurator).
// Nothing here locks.
#include "link/CLBNVRAM.h"
#include "link/CPackV7.h"

#include <functional>
#include <vector>

class CUnitLB {
public:
    using PutFn = std::function<void(CPackV7&)>;

    static constexpr int kReadChunk = 128;    // bytes of one read request
    static constexpr int kWriteChunk = 64;    // bytes of one write request
    static constexpr int kWriteFlag = 0x100;  // bit 8 of the length word marks a write
    static constexpr int kWriteLen = 68;      // every write request carries 68 data bytes

    // The unit's kind, as the information reply tells it (0: no reply yet).
    bool IsV7() const;
    bool IsCM3OrV7() const;
    bool IsKnovDev() const { return m_TypLBSub != 0; }
    // Where the description lies: the read goes by the unit's kind (0x180 on
    // CM3 and V7), while the known test goes by the sub-type alone, as the
    // image does it. A unit for which they disagree never completes.
    int DescrAddr() const;
    // Description, main area and, on a unit with the domain area, the domains.
    bool IsComplete() const;

    // A new connection or a disconnect: the working image cleared and the
    // kind unknown. m_NVRAMOld stays until the next read completes.
    void ClearUnit();

    // The read of a unit: askInfo (with the 16 bytes of `key` on a key
    // connection), then ReadMain. `pack` carries the identifiers.
    static void SendRead(CPackV7& pack, const PutFn& put, const unsigned char* key = nullptr);
    // Eight reads of 128 bytes from 0x400 and askStatus.
    static void ReadMain(CPackV7& pack, const PutFn& put);
    static void Ask(CPackV7& pack, const PutFn& put, int ask, const unsigned char* data, int len);
    static void AskRead(CPackV7& pack, const PutFn& put, int adr, int len);

    // A reply of `unit` to a request: class 4 packAsk, direction answer,
    // from the unit's identifier. Anything else is not part of the exchange.
    static bool IsReplyOf(const CPackV7& pack, const CIdentV7& unit);
    // An askInfo reply: kind, version and feature bits; then the reads that
    // only it makes possible (description, and domains if the unit has them).
    void TakeInfo(const CPackV7& reply, CPackV7& pack, const PutFn& put);
    // An askNVRAM reply into m_NVRAM. Dropped (false): the image is complete
    // already, the status byte is not 0, or the reply holds fewer bytes
    // than it claims.
    bool TakeNVRAM(const CPackV7& reply);
    // The version as " a.b.c".
    DBString VersionText() const;

    // The write requests for every chunk in which m_NVRAM differs from
    // m_NVRAMOld, in the order the unit takes them; `pack` carries the
    // identifiers. SendSave then adds askRestart.
    std::vector<CPackV7> SaveChunks(const CPackV7& pack) const;
    // Start addresses of the chunks that SaveChunks would send.
    std::vector<int> ChangedChunks() const;
    // Sends the differing chunks and askRestart; m_NVRAMOld then equals
    // m_NVRAM. Returns the chunks sent.
    int SendSave(CPackV7& pack, const PutFn& put);

    CLBNVRAM m_NVRAM;                // working image: pages read and edit it
    CLBNVRAM m_NVRAMOld;             // as the unit holds it
    int m_TypLBSub = 0;              // hardware sub-type, data byte 10 of askInfo; 0: no reply yet
    int m_TypLB = 0;                 // unit type, data byte 0
    int m_SubTyp = 0;                // data byte 1, the catalogue's sub-type
    int m_Version[3] = {0, 0, 0};
    // Feature bits of the information reply (data bytes 15 and 16), kept as
    // they came; not reset at a connect, so that an older unit's short
    // reply leaves the bits of the previous one.
    unsigned char m_Feat[2] = {0, 0};
    bool m_FeatDomain = false;       // link domain area at 0x200
    bool m_FeatTimeZone = false;     // time service
    bool m_FeatMQTT = false;
    bool m_Feat4G = false;

private:
    struct Chunk {
        int adr;
        int len;
    };
    // Every chunk a save may send, in order.
    std::vector<Chunk> SaveLayout() const;
    std::vector<Chunk> Changed() const;
};
