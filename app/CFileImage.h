#pragma once
// The image-file commands of the Additional functions menu: the connected
// unit's working image to a file, and a file back into it. A file loaded is
// only put into the working image, after a question that lists what it
// changes; Save sends it as any other change.
class VelkonfFrame;
class wxMenu;
class wxString;

class CFileImage {
public:
    // Menu ids: the ids of the items' texts.
    static constexpr int kIdFromFile = 10118;
    static constexpr int kIdToFile = 10119;

    // A separator and the two items, enabled while a unit's pages are shown.
    static void AppendTo(wxMenu& menu, bool connected);
    // The menu items: the page in view stores its fields, a file is chosen.
    static void ToFile(VelkonfFrame& frame);
    static void FromFile(VelkonfFrame& frame);
    // What they do once the file is chosen (the toolkit's file dialog cannot
    // be answered by a test on this platform, so tests start here).
    static void Save(const wxString& path);
    static void Load(VelkonfFrame& frame, const wxString& path);
};
