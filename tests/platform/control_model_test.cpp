#include <gtest/gtest.h>

#include "platform/form.h"

namespace tvl {
namespace {

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

}  // namespace
}  // namespace tvl
