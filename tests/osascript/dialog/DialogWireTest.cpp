#include "osascript/dialog/DialogWire.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using applescript::DialogAnswer;
using applescript::DialogRequest;

namespace {

DialogRequest wholeRequest() {
    return {.kind = DialogRequest::Kind::alert,
            .text = u"Delete “a\nb” 🌧?"_s,
            .message = u"It cannot be undone."_s,
            .title = u"Careful"_s,
            .icon = DialogRequest::Icon::caution,
            .buttons = {u"Cancel"_s, u"Delete"_s},
            .defaultButton = 1,
            .cancelButton = 0,
            .defaultText = u""_s,
            .hiddenText = true,
            .givingUpAfter = 2.5};
}

QString complaint(QByteArray json) {
    const auto request = dialogRequest(json);
    return request ? u"none"_s : request.error().description;
}

QByteArray with(const QByteArray &before, const QByteArray &after) {
    auto json = toJson(wholeRequest());
    EXPECT_TRUE(json.contains(before));
    return json.replace(before, after);
}

} // namespace

TEST(DialogWire, ARequestArrivesAsItWasSent) {
    const auto sent = wholeRequest();
    const auto request = dialogRequest(toJson(sent));
    ASSERT_TRUE(request) << request.error().description.toStdString();
    EXPECT_EQ(request->kind, sent.kind);
    EXPECT_EQ(request->text, sent.text);
    EXPECT_EQ(request->message, sent.message);
    EXPECT_EQ(request->title, sent.title);
    EXPECT_EQ(request->icon, sent.icon);
    EXPECT_EQ(request->buttons, sent.buttons);
    EXPECT_EQ(request->defaultButton, 1);
    EXPECT_EQ(request->cancelButton, 0);
    EXPECT_EQ(request->defaultText, u""_s);
    EXPECT_TRUE(request->hiddenText);
    EXPECT_EQ(request->givingUpAfter, 2.5);
}

TEST(DialogWire, NoDefaultTextIsNotAnEmptyOne) {
    auto sent = wholeRequest();
    sent.defaultText.reset();
    const auto request = dialogRequest(toJson(sent));
    ASSERT_TRUE(request);
    EXPECT_FALSE(request->defaultText);
}

TEST(DialogWire, AnAnswerArrivesAsItWasSent) {
    for (const DialogAnswer &sent : {DialogAnswer{1, u"Привет"_s, false}, DialogAnswer{-1, u""_s, true}}) {
        const auto answer = dialogAnswer(toJson(sent));
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->button, sent.button);
        EXPECT_EQ(answer->text, sent.text);
        EXPECT_EQ(answer->gaveUp, sent.gaveUp);
    }
}

TEST(DialogWire, NamesTheFieldThatIsWrong) {
    EXPECT_EQ(complaint(with("\"alert\"", "\"window\"")), u"the field \"kind\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("\"text\":\"Delete", "\"words\":\"Delete")), u"the field \"text\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("[\"Cancel\",\"Delete\"]", "[]")), u"the field \"buttons\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("\"Cancel\"", "7")), u"the field \"buttons\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("\"defaultButton\":1", "\"defaultButton\":2")),
              u"the field \"defaultButton\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("\"cancelButton\":0", "\"cancelButton\":-2")),
              u"the field \"cancelButton\" is missing or wrong"_s);
    EXPECT_EQ(complaint(with("2.5", "-1")), u"the field \"givingUpAfter\" is missing or wrong"_s);
}

TEST(DialogWire, RefusesWhatIsNotAnObject) {
    EXPECT_TRUE(complaint("").startsWith(u"not JSON: "_s));
    EXPECT_TRUE(complaint("{\"kind\":").startsWith(u"not JSON: "_s));
    EXPECT_EQ(complaint("[]"), u"not a JSON object"_s);
    EXPECT_FALSE(dialogAnswer("{}"));
    EXPECT_FALSE(dialogAnswer("{\"button\": 1e300, \"text\": \"\", \"gaveUp\": false}"));
}
