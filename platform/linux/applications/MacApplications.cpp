#include "platform/linux/applications/MacApplications.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

MacApplication make(const char *names, const char *id, const char *preferred, const char *type, const char *category) {
    const auto list = [](const char *text) { return QString::fromLatin1(text).split(u'|', Qt::SkipEmptyParts); };
    return {list(names), QString::fromLatin1(id), list(preferred), QString::fromLatin1(type),
            QString::fromLatin1(category)};
}

} // namespace

const std::vector<MacApplication> &macApplications() {
    static const std::vector<MacApplication> table{
        make("Finder", "com.apple.finder", "", "inode/directory", "FileManager"),
        make("Safari", "com.apple.Safari", "", "x-scheme-handler/https", "WebBrowser"),
        make("Google Chrome|Chrome", "com.google.Chrome",
             "google-chrome|google-chrome-stable|chromium|org.chromium.Chromium", "", ""),
        make("Firefox", "org.mozilla.firefox", "firefox|firefox-esr|org.mozilla.firefox", "", ""),
        make("Microsoft Edge", "com.microsoft.edgemac", "microsoft-edge|com.microsoft.Edge", "", ""),
        make("Brave Browser", "com.brave.Browser", "brave-browser|com.brave.Browser", "", ""),
        make("Terminal", "com.apple.Terminal", "", "x-scheme-handler/terminal", "TerminalEmulator"),
        make("TextEdit", "com.apple.TextEdit", "", "text/plain", "TextEditor"),
        make("Visual Studio Code|Code", "com.microsoft.VSCode", "code|com.visualstudio.code|codium|code-oss", "", ""),
        make("Mail", "com.apple.mail", "", "x-scheme-handler/mailto", "Email"),
        make("Preview", "com.apple.Preview", "", "application/pdf", "Viewer"),
        make("Photos", "com.apple.Photos", "", "image/jpeg", "Photography"),
        make("Calculator", "com.apple.calculator", "", "", "Calculator"),
        make("Calendar|iCal", "com.apple.iCal", "", "text/calendar", "Calendar"),
        make("Contacts", "com.apple.AddressBook", "", "text/vcard", "ContactManagement"),
        make("Notes", "com.apple.Notes", "org.gnome.Notes|xpad|org.gnome.gitlab.cheywood.Iotas", "", ""),
        make("Reminders", "com.apple.reminders", "org.gnome.Todo|io.github.mrvladus.List", "", ""),
        make("Maps", "com.apple.Maps", "", "x-scheme-handler/geo", "Maps"),
        make("Music|iTunes", "com.apple.Music", "", "audio/mpeg", "Player"),
        make("QuickTime Player|TV", "com.apple.QuickTimePlayerX", "", "video/mp4", "Player"),
        make("VLC", "org.videolan.vlc", "vlc|org.videolan.VLC", "", ""),
        make("Messages", "com.apple.MobileSMS", "", "x-scheme-handler/sms", "InstantMessaging"),
        make("System Settings|System Preferences", "com.apple.systempreferences",
             "org.gnome.Settings|gnome-control-center|systemsettings|org.kde.systemsettings|xfce-settings-manager", "",
             "DesktopSettings"),
        make("Activity Monitor", "com.apple.ActivityMonitor", "", "", "Monitor"),
        make("Disk Utility", "com.apple.DiskUtility", "org.gnome.DiskUtility|gparted", "", ""),
        make("Archive Utility", "com.apple.archiveutility", "", "application/zip", "Archiving"),
        make("App Store", "com.apple.AppStore", "", "", "PackageManager"),
        make("Dictionary", "com.apple.Dictionary", "", "", "Dictionary"),
        make("Font Book", "com.apple.FontBook", "org.gnome.font-viewer", "font/ttf", ""),
        make("Screenshot", "com.apple.screenshot.launcher",
             "org.gnome.Screenshot|xfce4-screenshooter|org.kde.spectacle", "", ""),
        make("Pages", "com.apple.iWork.Pages", "", "application/vnd.oasis.opendocument.text", "WordProcessor"),
        make("Numbers", "com.apple.iWork.Numbers", "", "application/vnd.oasis.opendocument.spreadsheet", "Spreadsheet"),
        make("Keynote", "com.apple.iWork.Keynote", "", "application/vnd.oasis.opendocument.presentation",
             "Presentation"),
    };
    return table;
}

} // namespace ombru
