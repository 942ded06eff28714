#include "tools/velkunit/UnitFile.h"

#include "link/CPackV7.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace velkunit {

namespace {

constexpr char kMagic[] = "VELKUNITST01";   // the name and the format, 12 bytes
constexpr size_t kHead = 12;
constexpr size_t kBody = kHead + kImageSize;

std::string Errno(const std::string& what, int err) { return what + ": " + std::strerror(err); }

bool WriteAll(int fd, const unsigned char* data, size_t len)
{
    while (len > 0) {
        const ssize_t n = write(fd, data, len);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        len -= static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

bool ParseStateFile(const unsigned char* data, size_t len, Image& out, std::string& why)
{
    if (len < kHead || std::memcmp(data, kMagic, 8) != 0) {
        why = "not a state file of velkunit (it does not begin with VELKUNIT)";
        return false;
    }
    if (std::memcmp(data + 8, kMagic + 8, 4) != 0) {
        why = "a state file of an unknown format";
        return false;
    }
    if (len != kStateFileSize) {
        why = "a state file of " + std::to_string(len) + " bytes instead of " + std::to_string(kStateFileSize) +
              " (cut short or extended)";
        return false;
    }
    const unsigned crc = CPackV7::CRC16(data, static_cast<int>(kBody));
    if ((data[kBody] | data[kBody + 1] << 8) != static_cast<int>(crc)) {
        why = "a state file whose checksum does not match (damaged)";
        return false;
    }
    std::copy_n(data + kHead, kImageSize, out.begin());
    return true;
}

bool ParseImageFile(const unsigned char* data, size_t len, Image& out, std::string& why)
{
    if (len >= 8 && std::memcmp(data, kMagic, 8) == 0) return ParseStateFile(data, len, out, why);
    if (len != kImageSize) {
        why = "an image of " + std::to_string(len) + " bytes; an image has " + std::to_string(kImageSize);
        return false;
    }
    std::copy_n(data, kImageSize, out.begin());
    return true;
}

std::vector<unsigned char> StateFileBytes(const Image& image)
{
    std::vector<unsigned char> bytes(kStateFileSize);
    std::copy_n(kMagic, kHead, bytes.begin());
    std::copy(image.begin(), image.end(), bytes.begin() + kHead);
    const unsigned crc = CPackV7::CRC16(bytes.data(), static_cast<int>(kBody));
    bytes[kBody] = static_cast<unsigned char>(crc);
    bytes[kBody + 1] = static_cast<unsigned char>(crc >> 8);
    return bytes;
}

ReadResult ReadWholeFile(const std::string& path, size_t limit, std::vector<unsigned char>& out, std::string& why)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd == -1) {
        why = Errno(path, errno);
        return errno == ENOENT ? ReadResult::missing : ReadResult::failed;
    }
    out.clear();
    unsigned char buf[4096];
    for (;;) {
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            why = Errno(path, errno);
            close(fd);
            return ReadResult::failed;
        }
        if (n == 0) break;
        out.insert(out.end(), buf, buf + n);
        if (out.size() > limit) {
            why = path + ": larger than " + std::to_string(limit) + " bytes";
            close(fd);
            return ReadResult::failed;
        }
    }
    close(fd);
    return ReadResult::ok;
}

bool WriteStateFile(const std::string& path, const Image& image, std::string& why)
{
    const std::string temp = path + ".tmp" + std::to_string(getpid());
    const int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd == -1) {
        why = Errno(temp, errno);
        return false;
    }
    const std::vector<unsigned char> bytes = StateFileBytes(image);
    bool ok = WriteAll(fd, bytes.data(), bytes.size()) && fsync(fd) == 0;
    const int err = errno;
    ok = close(fd) == 0 && ok;
    if (!ok) {
        why = Errno(temp, err);
        unlink(temp.c_str());
        return false;
    }
    if (rename(temp.c_str(), path.c_str()) != 0) {
        why = Errno(path, errno);
        unlink(temp.c_str());
        return false;
    }
    return true;
}

}  // namespace velkunit
