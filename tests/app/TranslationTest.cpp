#include "look/Translation.h"

#include "app/lifecycle/IconMenu.h"
#include "app/lifecycle/RunningHint.h"
#include "app/privacy/PrivacyText.h"

#include <QCoreApplication>
#include <QDir>
#include <QTranslator>

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString catalogues() { // one, of this test
    return QCoreApplication::applicationDirPath() + u"/translations"_s;
}

QStringList menu(const PanelState &state) {
    QStringList texts;
    for (const auto &entry : iconMenu(state))
        texts += entry.text;
    return texts;
}

} // namespace

TEST(Translation, OurOwnTextsAreInTheOwnersLanguageAndFixedOnesStay) {
    const auto translator = translateTexts(catalogues(), QLocale(u"de_DE"_s));
    ASSERT_TRUE(translator);
    EXPECT_EQ(menu({}), (QStringList{u"Anhalten"_s, u"Fenster öffnen"_s, u"Protokoll zeigen"_s, u"Quit"_s}));
    EXPECT_EQ(stopButton({.busy = true, .cancelling = true})->text, u"Wird angehalten …");
    const auto rows = permissionRows({{Permissions::all[0].id, Permission::State::missing}}, {});
    EXPECT_EQ(rows.front().state, u"Nicht gewährt");
    EXPECT_EQ(rows.front().title, Permissions::all[0].title);
    EXPECT_EQ(statusLine({.busy = true}).text, u"Starting…");
    EXPECT_EQ(runningHintText(true).title, u"ombru is running in your menu bar");
    EXPECT_TRUE(runningHintText(false).text.contains(u"Diese Arbeitsumgebung"_s));
}

TEST(Translation, WithoutACatalogueForALanguageTheTextsAreEnglish) {
    EXPECT_FALSE(translateTexts(catalogues(), QLocale(u"fr_FR"_s)));
    EXPECT_FALSE(translateTexts(u"/nowhere"_s, QLocale(u"de_DE"_s)));
    EXPECT_EQ(menu({}).front(), u"Stop");
}

TEST(Translation, CataloguesAreBesideTheProgramOrWhereItIsInstalled) {
    EXPECT_EQ(catalogueDirectory(), catalogues());
    ASSERT_TRUE(QDir().rename(catalogues(), catalogues() + u".away"_s));
    EXPECT_TRUE(catalogueDirectory().endsWith(u"/share/ombru/translations"_s));
    EXPECT_TRUE(QDir().rename(catalogues() + u".away"_s, catalogues()));
}
