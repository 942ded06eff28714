#pragma once
// CFrameV7: assembles the frames of the V7 serial line from a byte stream.
//
// Frame: 0xFF, then L big-endian in two bytes (the count of bytes that
// follow), then L bytes of a packet coded by ChanCod. Bytes before a 0xFF are
// skipped; a 0xFF inside a frame is data. Two limits, which differ on purpose
// and both stay as the units expect them: an L of 1025 or more is refused as
// soon as the length is in, and a frame is dropped once 1025 bytes are stored
// without being complete, so that L up to 1022 completes while 1023 and 1024
// are dropped after 1025 bytes.
//
// One thread only (the serial read thread, or a fuzzer).
class CFrameV7 {
public:
    static constexpr int kMaxStore = 1025;   // bytes stored of one frame
    static constexpr int kMaxNeed = 1027;    // the largest frame the length test lets in

    enum Event {
        evNone,
        evStart,     // a start byte: an answer is arriving
        evFrame,     // a frame is complete: Body() and BodyLen() until the next Put
        evRefused,   // a frame was dropped for its length
    };

    // Takes one byte.
    Event Put(unsigned char byte);
    // Drops a half-assembled frame.
    void Reset() { m_Have = 0; }
    int Have() const { return m_Have; }

    const unsigned char* Body() const { return m_Buf + 3; }
    int BodyLen() const { return m_Need - 3; }

private:
    unsigned char m_Buf[kMaxStore];
    int m_Have = 0;
    int m_Need = 0;
};
