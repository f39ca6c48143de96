#include "cloud/PlainHttp.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

TEST(PlainHttp, ToAnotherHostItCanBeReadOnTheWay) {
    for (const auto &address : {u"http://example.org"_s, u"http://example.org:8787/base"_s, u"ws://10.0.0.1/agent"_s,
                                u"http://localhost.example.org"_s, u"HTTP://[2001:db8::1]"_s})
        EXPECT_TRUE(isReadableOnTheWay(address)) << address.toStdString();
}

TEST(PlainHttp, ToThisHostOrEncryptedItCannot) {
    for (const auto &address :
         {u"https://example.org"_s, u"wss://example.org/agent"_s, u"http://localhost:8787"_s, u"http://127.0.0.1"_s,
          u"http://127.1.2.3:80"_s, u"ws://[::1]:9/agent"_s, u"http://ombru.localhost"_s, QString()})
        EXPECT_FALSE(isReadableOnTheWay(address)) << address.toStdString();
}
