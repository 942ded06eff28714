// The pages of links, link timing, statistics, SD test, descriptors and
// voice on the real frame against velkunit: what they show, what a Save
// sends of them (read back from velkunit's kept image), their refusals.
#include "Drive.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "link/CIdentV7.h"
#include "pages/CDirect.h"
#include "pages/COneDirect.h"
#include "support/Simulator.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/config.h>
#include <wx/listctrl.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace gui;
using Bytes = std::vector<unsigned char>;

template <class T = wxTextCtrl>
T* Ctrl(wxWindow* parent, const char* name)
{
    auto* w = dynamic_cast<T*>(wxWindow::FindWindowByName(name, parent));
    EXPECT_NE(w, nullptr) << name;
    return w;
}

// Makes the page with this tab text current, as a click on the tab would.
wxWindow* Open(const wxString& tab)
{
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    for (size_t i = 0; i < book->GetPageCount(); ++i) {
        if (book->GetPageText(i) != tab) continue;
        book->SetSelection(i);
        Pump(50);
        return book->GetPage(i);
    }
    ADD_FAILURE() << "no tab " << tab;
    return nullptr;
}

// Save with its question answered; the image velkunit keeps afterwards.
Bytes Save(unittest::Simulator& sim)
{
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), AnswerSave());
    EXPECT_TRUE(sim.WaitLine("askRestart"));
    return KeptImage(StatePath());
}

// The addresses at which two images differ.
std::set<int> Diff(const Bytes& a, const unsigned char* b)
{
    std::set<int> at;
    for (int i = 0; i < static_cast<int>(a.size()); ++i)
        if (a[i] != b[i]) at.insert(i);
    return at;
}

// Acts in the dialog of one link record, which the test hook shows nowhere.
class InDialog : public wxExpectModalBase<COneDirect, InDialog> {
public:
    explicit InDialog(std::function<int(COneDirect&)> act) : m_Act(std::move(act)) {}

protected:
    int OnInvoked(COneDirect* dlg) const override
    {
        dlg->Load();
        return m_Act(*dlg);
    }

private:
    std::function<int(COneDirect&)> m_Act;
};

void Fill(COneDirect& d, const char* ident, const char* ip)
{
    Ctrl(&d, "ident")->SetValue(ident);
    Ctrl(&d, "ip")->SetValue(ip);
}

// An image with every byte erased but the System page's (ping on, a time
// zone, no NTP server), "static connect only" off, and two link records in
// use: 201 on 10.0.0.1, and 202 with an alternative address.
std::string ImageWithLinks()
{
    Bytes img(2048, 0xFF);
    img[0x400 + 0x1B] = 0;
    img[0x400 + 0x1C] = 0;
    img[0x400 + 0x1D] = 28;
    std::fill(img.begin() + 0x560, img.begin() + 0x580, 0);
    auto record = [&img](int index, int type, int node, Bytes ip) {
        const int p = 0x600 + 32 * index;
        img[p] = static_cast<unsigned char>(type);
        CIdentV7(node, 0).GetValue(&img[p + 1]);
        std::copy(ip.begin(), ip.end(), img.begin() + p + 10);
        img[p + 14] = 0x5A;   // not the page's: must survive an update
    };
    record(0, 1, 201, {10, 0, 0, 1});
    record(1, 2, 202, {10, 0, 0, 2});
    const std::string path = std::string(std::getenv("HOME")) + "/links.img";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(img.data()), 2048);
    return path;
}

}  // namespace

TEST(LinkPages, LinksPageListsTheRecordsAndTheLiveLinksAndSavesInsertUpdateAndDelete)
{
    unittest::Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--key", "secret12", "--image",
                             ImageWithLinks(), "--state", StatePath()});
    ASSERT_TRUE(sim.Started());
    ASSERT_TRUE(StartApp({"enu"}));
    Press(typConnectIP, sim.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    const VelkonfApp& app = wxGetApp();
    const CLBNVRAM old = app.m_NVRAMOld;
    auto* page = static_cast<CDirect*>(Open("Links"));
    ASSERT_NE(page, nullptr);
    CListDirect* list = page->m_List;

    ASSERT_EQ(list->GetItemCount(), 2);
    EXPECT_EQ(list->GetItemText(1, 1), "*10.0.0.2");
    EXPECT_EQ(list->GetItemText(1, 5), "5") << "an erased return time";
    // The first reply starts the chain of askDirect for links 2..8; the last redraws.
    ASSERT_TRUE(PumpUntil([&] { return page->m_ListStatus->GetItemCount() == 2; }, 5000));
    EXPECT_EQ(sim.CountLines("askDirect"), 8);
    EXPECT_EQ(page->m_ListStatus->GetItemText(1, 2), "202");
    EXPECT_EQ(page->m_ListStatus->GetItemText(0, 3), "10.0.0.1");
    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled());
    // The Voice page puts each record's voice port beside its live link's.
    auto* voiceLinks = Ctrl<wxListCtrl>(Open("Voice"), "links");
    EXPECT_TRUE(voiceLinks->GetItemCount() == 2 && voiceLinks->GetItemText(1, 0) == "202");
    EXPECT_TRUE(voiceLinks->GetItemText(1, 1) == "48001" && voiceLinks->GetItemText(1, 2) == "48001");
    ASSERT_EQ(Open("Links"), page);

    // Insert: a bad number, then two refusals, then written into the first free slot (2).
    wxString bad, cont, same, dup, caption, ignored;
    wxTEST_DIALOG(Click(page->m_BtnInsert), InDialog([](COneDirect& d) {
                      Fill(d, "20x", "10.0.0.3");
                      EXPECT_EQ(d.Finish(), 0) << "asked to go on: the dialog stays";
                      Fill(d, "203", "10.0.0.3");
                      Ctrl(&d, "portVoice")->SetValue("48000");
                      EXPECT_EQ(d.Finish(), 0) << "data and voice on one port";
                      Ctrl(&d, "portVoice")->SetValue("48001");
                      Ctrl(&d, "ident")->SetValue("201");
                      EXPECT_EQ(d.Finish(), 0) << "another row's identifier";
                      Ctrl(&d, "ident")->SetValue("203");
                      return d.Finish();
                  }),
                  ExpectBox(bad, ignored), ExpectBox(cont, ignored, wxYES), ExpectBox(same, caption),
                  ExpectBox(dup, caption));
    EXPECT_EQ(bad, ": 20x - Invalid value");
    EXPECT_EQ(cont, "Continue work with dialogs ?");
    EXPECT_EQ(same, "Ports of data and voice should be different");
    EXPECT_EQ(dup, "The identifier is already listed in another links");
    EXPECT_EQ(caption, "Velkonf");
    EXPECT_EQ(list->GetItemCount(), 3);
    ASSERT_TRUE(PumpUntil([] { return Frame()->m_BtnSave->IsEnabled(); }, 2000)) << "the posted refresh";

    // Update of 201: an alternative link, and a row may keep its own identifier.
    list->SetItemState(0, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
    wxTEST_DIALOG(Click(page->m_BtnUpdate), InDialog([](COneDirect& d) {
                      EXPECT_EQ(Ctrl(&d, "ident")->GetValue(), "201");
                      Ctrl<wxCheckBox>(&d, "altDefined")->SetValue(true);
                      wxCommandEvent tick(wxEVT_CHECKBOX);
                      tick.SetInt(1);
                      Ctrl<wxCheckBox>(&d, "altDefined")->GetEventHandler()->ProcessEvent(tick);
                      EXPECT_TRUE(Ctrl(&d, "altIp")->IsEnabled());
                      Ctrl(&d, "altIp")->SetValue("10.1.1.1");
                      Ctrl(&d, "return")->SetValue("30");
                      return d.Finish();
                  }));
    EXPECT_EQ(list->GetItemText(0, 1), "*10.0.0.1");
    EXPECT_EQ(list->GetItemText(0, 4), "10.1.1.1");

    // Delete of 202, after its question.
    list->SetItemState(1, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
    wxString question;
    wxTEST_DIALOG(Click(page->m_BtnDelete), ExpectBox(question, caption, wxYES));
    EXPECT_EQ(question, "Delete link (identifier \"202 ) ?");
    EXPECT_EQ(list->GetItemCount(), 2);

    const Bytes kept = Save(sim);
    ASSERT_EQ(kept.size(), 2048u);
    const int r0 = 0x600, r1 = 0x620, r2 = 0x640;
    auto at = [&kept](int from, int len) { return Bytes(kept.begin() + from, kept.begin() + from + len); };
    auto node = [&kept](int rec) {
        CIdentV7 id;
        id.SetValue(&kept[rec + 1]);
        return id.GetNode();
    };
    EXPECT_TRUE(kept[r0] == 2 && node(r0) == 201 && kept[r0 + 5] == 30);
    EXPECT_EQ(at(r0 + 6, 16), (Bytes{0xBB, 0x80, 0xBB, 0x81, 10, 0, 0, 1, 0x5A, 0xFF, 0xFF, 0xFF, 10, 1, 1, 1}))
        << "ports, address, a byte not the page's, the alternative address";
    EXPECT_EQ(at(r1, 32), Bytes(32, 0xFF)) << "deleted";
    EXPECT_TRUE(kept[r2] == 1 && node(r2) == 203 && kept[r2 + 5] == 5);
    EXPECT_EQ(at(r2 + 6, 8), (Bytes{0xBB, 0x80, 0xBB, 0x81, 10, 0, 0, 3}));
    EXPECT_EQ(at(0x200, 0x60), Bytes(0x60, 0)) << "three empty names: the unit has domains";
    // The records' own fields, the deleted record and the names; nothing else.
    for (int a : Diff(kept, old.m_Data)) {
        const int off = (a - 0x600) % 32;
        const bool own = a >= r0 && a < r2 + 32 && (off < 14 || (off >= 18 && off < 22) || (a >= r1 && a < r2));
        EXPECT_TRUE(own || (a >= 0x200 && a < 0x260)) << "byte 0x" << std::hex << a;
    }
}

TEST(LinkPages, TimingStatisticsSdTestVoiceAndADescriptorWrittenOnlyWithTheSetting)
{
    unittest::Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--key", "secret12", "--state",
                             StatePath(), "--counters", "10,11,20,21,30,31,40,41,50,51"});
    ASSERT_TRUE(sim.Started());
    ASSERT_TRUE(StartApp({"enu"}));
    wxConfigBase::Get()->Write("/Param/OpenLink", 1);
    Press(typConnectIP, sim.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    VelkonfApp& app = wxGetApp();
    const CLBNVRAM old = app.m_NVRAMOld;

    // Pairs come out before in; each label shows its own counter.
    wxWindow* stat = Open("Statistics");
    ASSERT_TRUE(PumpUntil([&] { return Ctrl(stat, "count9")->GetValue() == "50"; }, 5000));
    std::vector<wxString> counts;
    for (int i = 0; i < 10; ++i) counts.push_back(Ctrl(stat, wxString::Format("count%d", i).c_str())->GetValue());
    EXPECT_EQ(counts, (std::vector<wxString>{"11", "10", "21", "20", "31", "30", "41", "40", "51", "50"}));

    wxWindow* rin = Open("SD RIN");
    Click(Ctrl<wxButton>(rin, "testSd"));
    EXPECT_TRUE(sim.WaitLine("SD card test, typAsk 1"));
    EXPECT_TRUE(Ctrl<wxStaticText>(rin, "sent")->GetLabel().StartsWith("SD card test request sent at "));

    wxWindow* voice = Open("Voice");
    EXPECT_TRUE(Ctrl(voice, "own")->GetValue() == "46001" && Ctrl(voice, "inUse")->GetValue() == "46001");

    // With the setting at 0 a typed text stays on the page.
    wxConfigBase::Get()->Write("/Param/UserDescriptor", 0);
    wxWindow* descr = Open("Descriptors");
    EXPECT_EQ(Ctrl(descr, "text")->GetValue(), wxString::Format("Simulated unit %d", kIdent));
    EXPECT_TRUE(Ctrl(descr, "hex")->GetValue().StartsWith("53 69 6D"));
    EXPECT_FALSE(Ctrl(descr, "text")->IsEditable());
    Ctrl(descr, "text")->SetValue("not to be written");
    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled());
    Open("System");
    EXPECT_EQ(std::memcmp(app.m_NVRAM.m_Data, old.m_Data, 2048), 0) << "no page here writes by looking";
    wxConfigBase::Get()->Write("/Param/UserDescriptor", 1);
    descr = Open("Descriptors");
    EXPECT_TRUE(Ctrl(descr, "text")->IsEditable());
    Ctrl(descr, "text")->SetValue(wxString::FromUTF8("Подъезд 5"));

    // Link timing: erased in a fresh unit, so its defaults are a change.
    wxWindow* timing = Open("Parameters");
    const char* names[] = {"repeats", "confirm", "lifetime", "linkAck", "routes", "notices", "ipMac", "restart", "autoDog"};
    std::vector<wxString> shown;
    for (const char* n : names) shown.push_back(Ctrl(timing, n)->GetValue());
    EXPECT_EQ(shown, (std::vector<wxString>{"5", "2", "20", "180", "3", "2", "20", "0", "10"}));
    EXPECT_TRUE(Frame()->m_BtnSave->IsEnabled());
    // Leaving the page: the frame asks the page, which refuses, and the change is vetoed.
    Ctrl(timing, "restart")->SetValue("121");
    wxString message, caption;
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    wxBookCtrlEvent leave(wxEVT_NOTEBOOK_PAGE_CHANGING, book->GetId(), 0, book->GetSelection());
    leave.SetEventObject(book);
    wxTEST_DIALOG(book->GetEventHandler()->ProcessEvent(leave), ExpectBox(message, caption));
    EXPECT_FALSE(leave.IsAllowed());
    EXPECT_TRUE(message == "Waiting connects after restarts 0..120" && caption == "Velkonf") << message;
    Click(Ctrl<wxButton>(timing, "default"));
    Ctrl(timing, "linkAck")->SetValue("15");

    const Bytes kept = Save(sim);
    ASSERT_EQ(kept.size(), 2048u);
    EXPECT_EQ(Bytes(kept.begin() + 0x480, kept.begin() + 0x489), (Bytes{7, 50, 20, 1, 18, 6, 20, 80, 10}));
    Bytes want(96, 0);
    const unsigned char cp[] = {0xCF, 0xEE, 0xE4, 0xFA, 0xE5, 0xE7, 0xE4, 0x20, 0x35};   // "Подъезд 5"
    std::copy(std::begin(cp), std::end(cp), want.begin());
    EXPECT_EQ(Bytes(kept.begin() + 0x180, kept.begin() + 0x1E0), want);
    for (int a : Diff(kept, old.m_Data))
        EXPECT_TRUE((a >= 0x180 && a < 0x1E0) || (a >= 0x480 && a <= 0x488)) << "byte 0x" << std::hex << a;
}
