// The validators' rules and refusal texts, on a real text control.
#include "GuiTest.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "pages/Validators.h"

#include <wx/textctrl.h>

#include <memory>

TEST(Validators, EachRuleAcceptsOrRefusesWithItsMessageAndKeepsTheLastGoodValue)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    auto* text = new wxTextCtrl(wxGetApp().m_Frame.load(), wxID_ANY);
    int32_t num = 7;
    wxString str;
    uint32_t ip4 = 0;
    in6_addr ip6{};
    using V = std::shared_ptr<wxValidator>;
    const V any = std::make_shared<IntValidator>(&num, "N"), range = std::make_shared<IntValidator>(&num, "Port", 0, 100);
    const V noMin = std::make_shared<StringValidator>(&str, "Name"), min3 = std::make_shared<StringValidator>(&str, "Name", 3);
    const V v4 = std::make_shared<IPv4Validator>(&ip4, "IP"), v6 = std::make_shared<IPv6Validator>(&ip6, "IP6");
    struct Case {
        V validator;
        const char* input;
        const char* message;   // empty: accepted
        const char* shown;     // the member as the control shows it afterwards
    };
    const Case cases[] = {
        {any, "-2147483648", "", "-2147483648"},
        {any, "12a", "N: 12a - Invalid value", "-2147483648"},
        {any, "", "N:  - Invalid value", "-2147483648"},
        {range, "101", "Port: 101 - Acceptable range of values 0...100", "-2147483648"},
        {range, "-1", "Port: -1 - Acceptable range of values 0...100", "-2147483648"},
        {range, "100", "", "100"},
        {noMin, "", "", ""},
        {min3, "ab", "Name: ab - Minimum value length 3", ""},
        {min3, "abc", "", "abc"},
        {v4, "1.2.3.4.5", "", "1.2.3.4"},
        {v4, "010.0.0.255", "", "10.0.0.255"},
        {v4, "1.2.3", "IP: 1.2.3 - bad value IPv4 address", "10.0.0.255"},
        {v4, "1.2.3.256", "IP: 1.2.3.256 - bad value IPv4 address", "10.0.0.255"},
        {v4, "1.-2.3.4", "IP: 1.-2.3.4 - bad value IPv4 address", "10.0.0.255"},
        {v6, "::ffff:1.2.3.4", "", "1.2.3.4"},
        {v6, "1.2.3", "IP6: 1.2.3 - bad value IPv4 or IPv6 address", "1.2.3.4"},
    };
    for (const Case& c : cases) {
        text->SetValidator(*c.validator);
        text->ChangeValue(c.input);
        wxValidator* v = text->GetValidator();
        // As a page's KillActive runs them: a refusal never reaches the member.
        auto store = [v, text] { return v->Validate(text) && v->TransferFromWindow(); };
        if (*c.message) {
            wxString message, caption;
            wxTEST_DIALOG(EXPECT_FALSE(store()), gui::ExpectBox(message, caption));
            EXPECT_EQ(message, c.message);
            EXPECT_EQ(caption, wxMessageBoxCaptionStr) << "the toolkit's own caption";
        } else {
            EXPECT_TRUE(store()) << c.input;
        }
        text->ChangeValue("junk");
        v->TransferToWindow();
        EXPECT_EQ(text->GetValue(), c.shown) << c.input;
    }
    ASSERT_TRUE(gui::RunLoopUntilExit([] { wxGetApp().CloseByRequest(); }));
    wxTheApp->OnExit();
}
