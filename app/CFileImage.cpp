#include "app/CFileImage.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "pages/PropertySheetPanel.h"
#include "pages/WxText.h"
#include "unit/FieldCatalogue.h"
#include "unit/ImageFile.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/config.h>
#include <wx/filedlg.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>

#include <ctime>
#include <fstream>
#include <vector>

namespace {

PropertySheetPanel* CurrentPage(VelkonfFrame& frame)
{
    const int sel = frame.GetBookCtrl()->GetSelection();
    if (sel == wxNOT_FOUND) return nullptr;
    return dynamic_cast<PropertySheetPanel*>(frame.GetBookCtrl()->GetPage(static_cast<size_t>(sel)));
}

void Refuse(unsigned short id, const wxString& path, const wxString& why = wxString())
{
    wxMessageBox(_W_(id) + path + (why.empty() ? wxString() : "\n" + why), "Velkonf", wxOK | wxICON_ERROR);
}

wxString Filter() { return _W_(10120) + " (*.velk)|*.velk"; }

}  // namespace

void CFileImage::AppendTo(wxMenu& menu, bool connected)
{
    menu.AppendSeparator();
    menu.Append(kIdToFile, _W_(kIdToFile))->Enable(connected);
    menu.Append(kIdFromFile, _W_(kIdFromFile))->Enable(connected);
}

void CFileImage::ToFile(VelkonfFrame& frame)
{
    VelkonfApp& app = wxGetApp();
    // The page in view stores its fields first, so that the file holds them.
    if (PropertySheetPanel* page = CurrentPage(frame); page && !page->KillActive()) return;
    const int node = app.UnitIdent().GetNode();
    wxFileDialog dlg(&frame, _W_(10121), wxString(), wxString::Format("%d.velk", node), Filter(),
                     wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (dlg.ShowModal() == wxID_OK) Save(dlg.GetPath());
}

void CFileImage::Save(const wxString& path)
{
    VelkonfApp& app = wxGetApp();
    const int node = app.UnitIdent().GetNode();
    const std::string text = ImageFile::Text(HeadOf(app, node, "Velkonf " VELK_VERSION, std::time(nullptr)),
                                             app.m_NVRAM, FieldCatalogue::Readable(app.m_NVRAM));
    std::ofstream out(path.utf8_string(), std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out) Refuse(10123, " " + path);
}

void CFileImage::FromFile(VelkonfFrame& frame)
{
    PropertySheetPanel* page = CurrentPage(frame);
    if (page && !page->KillActive()) return;
    wxFileDialog dlg(&frame, _W_(10122), wxString(), wxString(), Filter(), wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    if (dlg.ShowModal() == wxID_OK) Load(frame, dlg.GetPath());
}

void CFileImage::Load(VelkonfFrame& frame, const wxString& path)
{
    VelkonfApp& app = wxGetApp();
    PropertySheetPanel* page = CurrentPage(frame);

    std::ifstream in(path.utf8_string(), std::ios::binary);
    if (!in) return Refuse(10124, path);
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size <= 0 || static_cast<size_t>(size) > ImageFile::kMaxSize) return Refuse(10125, path);
    std::vector<char> bytes(static_cast<size_t>(size));
    in.seekg(0);
    if (!in.read(bytes.data(), size)) return Refuse(10126, path);

    ImageFileHead head;
    CLBNVRAM file;
    switch (ImageFile::Parse(bytes.data(), bytes.size(), head, file)) {
    case ImageFileFault::none: break;
    case ImageFileFault::empty: return Refuse(10125, path);
    case ImageFileFault::foreign: return Refuse(10126, path, _W_(43004));
    case ImageFileFault::truncated: return Refuse(10126, path, _W_(43005));
    case ImageFileFault::damaged: return Refuse(10126, path, _W_(43006));
    }
    if (head.m_TypLB != app.m_TypLB &&
        wxMessageBox(wxString::Format(_W_(43002), head.m_TypLB, app.m_TypLB), "Velkonf",
                     wxYES_NO | wxNO_DEFAULT | wxICON_WARNING) != wxYES)
        return;

    CLBNVRAM merged = app.m_NVRAM;
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    ImageMergeRules rules;
    rules.m_Ident = cfg->ReadLong("ChgMacAddr", 0) != 0;
    rules.m_Descriptor = cfg->ReadLong("UserDescriptor", 0) != 0;
    if (ImageFile::Merge(file, merged, rules) == 0) {
        wxMessageBox(_W_(43007), "Velkonf", wxOK | wxICON_INFORMATION);
        return;
    }
    const wxString changes = toWxString(FieldCatalogue::ChangeLines(app.m_NVRAM, merged));
    if (wxMessageBox(changes + "\n" + _W_(43003), "Velkonf", wxYES_NO | wxICON_QUESTION) != wxYES) return;
    app.m_NVRAM = merged;
    if (page) page->SetActive();
    frame.m_BtnSave->Enable();
}
