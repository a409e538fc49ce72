#include <gtest/gtest.h>

#include "platform/form.h"

namespace tvl {
namespace {

TEST(ControlModel, TextPutRunsChangeBeforeReturningAndNestsForItsOwnRewrite) {
    Form form("frmTest");
    TextBox* box = form.add<TextBox>(nullptr, "txtBox", 0);
    std::vector<std::string> seen;
    box->Change = [&] {
        seen.push_back(box->Text());
        if (box->Text() == "a") box->setText("<a>");  // a rewrite inside the handler
    };
    box->setText("a");
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "<a>"}));
    EXPECT_EQ(box->Text(), "<a>");
    box->append('\0');  // a NUL byte is a character like any other
    EXPECT_EQ(box->Text(), std::string("<a>\0", 4));
    box->replaceEnd(1, "<0>");
    EXPECT_EQ(box->Text(), "<a><0>");
    EXPECT_EQ(seen.size(), 4u);
}

TEST(ControlModel, TypedKeysRunKeyPressThenEditAtTheCaret) {
    Form form("frmTest");
    TextBox* box = form.add<TextBox>(nullptr, "txtBox");
    std::vector<int> keys;
    box->KeyPress = [&](int& key) { keys.push_back(key); };
    box->typeKey('a');
    box->typeKey('c');
    box->SelStart = 1;
    box->typeKey('b');
    EXPECT_EQ(box->Text(), "abc");
    box->typeKey(8);  // deletes before the caret, which stood behind "b"
    EXPECT_EQ(box->Text(), "ac");
    box->typeKey(13);
    EXPECT_EQ(box->Text(), "a\rc");
    box->SelStart = 0;
    box->typeKey(8);  // nothing before the caret
    EXPECT_EQ(box->Text(), "a\rc");
    EXPECT_EQ(keys, (std::vector<int>{'a', 'c', 'b', 8, 13, 8}));

    box->Locked = true;  // KeyPress still runs, the text stays
    box->typeKey('x');
    EXPECT_EQ(box->Text(), "a\rc");
    EXPECT_EQ(keys.size(), 7u);
    box->Enabled = false;  // a disabled box takes no key at all
    box->typeKey('x');
    EXPECT_EQ(keys.size(), 7u);

    // A key typed over a selection replaces it; Backspace deletes only the selection.
    box->Enabled = true;
    box->Locked = false;
    box->setText("901");
    box->put("SelStart", 0.0);
    box->put("SelLength", 3.0);
    box->typeKey('7');
    box->typeKey('7');
    EXPECT_EQ(box->Text(), "77");
    box->SelStart = 0;
    box->SelLength = 1;
    box->typeKey(8);
    EXPECT_EQ(box->Text(), "7");
}

TEST(ControlModel, OptionsClearOnlyTheirOwnGroupAndControlsAreFoundCaseBlind) {
    Form form("frmTest");
    Frame* first = form.add<Frame>(nullptr, "fraOne");
    Frame* second = form.add<Frame>(nullptr, "fraTwo");
    OptionButton* a0 = form.add<OptionButton>(first, "optA", 0);
    OptionButton* a1 = form.add<OptionButton>(first, "optA", 1);
    OptionButton* b0 = form.add<OptionButton>(second, "optB", 0);
    int clicks = 0;
    a1->Click = [&] { ++clicks; };
    b0->choose();
    a0->choose();
    ASSERT_TRUE(a1->put("value", true));
    EXPECT_FALSE(a0->Value);
    EXPECT_TRUE(a1->Value);
    EXPECT_TRUE(b0->Value);  // another container is another group
    EXPECT_EQ(clicks, 1);

    EXPECT_EQ(form.find("OPTA", 1), a1);
    EXPECT_EQ(form.find("opta"), nullptr);  // an array member needs its index
    EXPECT_EQ(a1->key(), "optA(1)");
    EXPECT_FALSE(a1->put("Caption", 3.0));  // wrong type: refused, not converted
    EXPECT_FALSE(a1->put("NoSuchProperty", true));
}

TEST(ControlModel, ToolbarClicksOnlyReachEnabledVisibleButtons) {
    Form form("frmTest");
    Toolbar* bar = form.add<Toolbar>(nullptr, "tbrTest");
    bar->buttons.resize(3);
    bar->buttons[0].Key = "One";
    bar->buttons[1].Separator = true;
    bar->buttons[2].Key = "Three";
    std::vector<std::string> clicked;
    bar->ButtonClick = [&](ToolbarButton& b) { clicked.push_back(b.Key); };
    bar->click(1);
    bar->click(2);
    bar->Buttons(3).Enabled = false;
    bar->click(3);
    bar->Buttons(3).Enabled = true;
    bar->Visible = false;
    bar->click(3);
    EXPECT_EQ(clicked, (std::vector<std::string>{"One"}));
    EXPECT_THROW(bar->Buttons(4), std::out_of_range);
    EXPECT_THROW(bar->Buttons(0), std::out_of_range);
}

}  // namespace
}  // namespace tvl
