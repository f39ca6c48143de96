#include "service/secrets/Secrets.h"

#include "service/log/Log.h"
#include "tests/support/Wait.h"

#include <QRegularExpression>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr PasswordCost CHEAP{1, 8192};

TEST(Secrets, ATokenIsLongAndNeverTheSame) {
    EXPECT_EQ(newToken().size(), 43);
    EXPECT_NE(newToken(), newToken());
}

TEST(Secrets, ACodeIsReadableAndFoundAsItIsTyped) {
    const auto code = newUserCode();
    EXPECT_TRUE(QRegularExpression(u"^[BCDFGHJKLMNPQRSTVWXZ]{4}-[0-9]{4}$"_s).match(code).hasMatch());
    EXPECT_EQ(plainCode(u" kthr 48-21 "_s), u"KTHR4821"_s);
    EXPECT_EQ(plainCode(code.toLower()), plainCode(code));
}

TEST(Secrets, WhatIsKeptTellsTheSecretToNobodyAndIsAnotherForAnotherPurpose) {
    EXPECT_EQ(keptOf("token"), keptOf("token"));
    EXPECT_NE(keptOf("token"), keptOf("other"));
    EXPECT_NE(keptOf("token"), keptOf("token", "a purpose that is long"));
    EXPECT_FALSE(keptOf("token").contains("token"));
    EXPECT_NE(csrfOf("token"), csrfOf("other"));
}

TEST(Secrets, APasswordFitsItsHashOnly) {
    const auto hashed = hashedPassword(u"correct horse"_s, CHEAP);
    EXPECT_TRUE(hashed.startsWith("$argon2id$"));
    EXPECT_TRUE(isPassword(u"correct horse"_s, hashed));
    EXPECT_FALSE(isPassword(u"wrong horse"_s, hashed));
    EXPECT_FALSE(isPassword(u"correct horse"_s, {}));
    EXPECT_NE(hashedPassword(u"correct horse"_s, CHEAP), hashed);
}

TEST(Log, WhatComesFromElsewhereStaysInItsField) {
    EXPECT_EQ(logLine(u"request", {{u"path", u"/a b\nevent=forged x=\"y\""_s}, {u"status", u"404"_s}}),
              u"event=request path=\"/a b«U+000A»event=forged x=’y’\" status=404"_s);
}

} // namespace
