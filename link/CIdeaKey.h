#pragma once
// CIdeaKey: a 16-byte IDEA key under construction, derived from user texts
// and a compiled-in mask (the dispatcher login and the cloud guest key).
class CIdeaKey {
public:
    CIdeaKey();
    // Key := mask, XOR (a + b) 16 bytes at a time from the front, XOR the
    // first (at most 16) bytes of c aligned at the key's end. Texts are taken
    // in CP1251.
    void Set2(const wchar_t* a, const wchar_t* b, const wchar_t* c, const unsigned char* mask);
    const unsigned char* Data() const { return m_Key; }
    // Padding bytes for the ciphers; forwards to the C library.
    static int rand();

private:
    unsigned char m_Key[16];
};

// The key of the cloud server's guest account, under which the buttons
// method talks: Set2 of "", "Guest" and the MD5 text of an empty text, over
// Secrets::GuestKey. Both ends of that link derive it here.
CIdeaKey GuestIdeaKey();
