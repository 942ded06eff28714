// Image files, whatever a user picks in the file dialog. Seeds: fuzz/corpus/image_file/.
//
// A refused file leaves head and image as they were; a taken one is written
// again and reads back the same image bit for bit.
#include "unit/ImageFile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ImageFileHead head;
    head.m_Ident = -7;
    CLBNVRAM image;
    image.m_Data[5] = 0x33;
    const ImageFileFault f = ImageFile::Parse(reinterpret_cast<const char*>(data), size, head, image);
    if (f != ImageFileFault::none) {
        if (head.m_Ident != -7 || image.m_Data[5] != 0x33) std::abort();
        return 0;
    }
    const std::string again = ImageFile::Text(head, image, {});
    ImageFileHead head2;
    CLBNVRAM image2;
    if (ImageFile::Parse(again.data(), again.size(), head2, image2) != ImageFileFault::none) std::abort();
    if (std::memcmp(image.m_Data, image2.m_Data, sizeof image.m_Data) ||
        std::memcmp(image.m_Knov, image2.m_Knov, sizeof image.m_Knov) || head.m_Ident != head2.m_Ident)
        std::abort();
    return 0;
}
