#pragma once
// MD5 as published in RFC 1321, in the three-call form the password code uses.
#include <cstddef>
#include <cstdint>

struct md5 {
    uint32_t state[4];
    uint64_t count;          // bytes taken in so far
    unsigned char buffer[64];
};

void md5_starts(md5& ctx);
void md5_update(md5& ctx, const void* data, size_t length);
void md5_finish(md5& ctx, unsigned char digest[16]);
