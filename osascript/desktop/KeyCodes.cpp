#include "osascript/desktop/KeyCodes.h"

#include <algorithm>
#include <iterator>

namespace ombru {
namespace {

struct Place {
    int code;
    const char *position;
};
constexpr Place PLACES[] = {
    // The letters, by rows.
    {12, "AD01"},
    {13, "AD02"},
    {14, "AD03"},
    {15, "AD04"},
    {17, "AD05"},
    {16, "AD06"},
    {32, "AD07"},
    {34, "AD08"},
    {31, "AD09"},
    {35, "AD10"},
    {33, "AD11"},
    {30, "AD12"},
    {0, "AC01"},
    {1, "AC02"},
    {2, "AC03"},
    {3, "AC04"},
    {5, "AC05"},
    {4, "AC06"},
    {38, "AC07"},
    {40, "AC08"},
    {37, "AC09"},
    {41, "AC10"},
    {39, "AC11"},
    {42, "BKSL"},
    {6, "AB01"},
    {7, "AB02"},
    {8, "AB03"},
    {9, "AB04"},
    {11, "AB05"},
    {45, "AB06"},
    {46, "AB07"},
    {43, "AB08"},
    {47, "AB09"},
    {44, "AB10"},
    // The digits and their neighbours.
    {50, "TLDE"},
    {18, "AE01"},
    {19, "AE02"},
    {20, "AE03"},
    {21, "AE04"},
    {23, "AE05"},
    {22, "AE06"},
    {26, "AE07"},
    {28, "AE08"},
    {25, "AE09"},
    {29, "AE10"},
    {27, "AE11"},
    {24, "AE12"},
    {10, "LSGT"},
};

struct Purpose {
    int code;
    xkb_keysym_t symbol;
};
constexpr Purpose PURPOSES[] = {
    {36, XKB_KEY_Return},
    {48, XKB_KEY_Tab},
    {49, XKB_KEY_space},
    {51, XKB_KEY_BackSpace},
    {53, XKB_KEY_Escape},
    {117, XKB_KEY_Delete},
    {114, XKB_KEY_Help},
    {115, XKB_KEY_Home},
    {119, XKB_KEY_End},
    {116, XKB_KEY_Page_Up},
    {121, XKB_KEY_Page_Down},
    {123, XKB_KEY_Left},
    {124, XKB_KEY_Right},
    {125, XKB_KEY_Down},
    {126, XKB_KEY_Up},
    {110, XKB_KEY_Menu},
    // Modifiers. Command is Control here.
    {54, XKB_KEY_Control_R},
    {55, XKB_KEY_Control_L},
    {56, XKB_KEY_Shift_L},
    {57, XKB_KEY_Caps_Lock},
    {58, XKB_KEY_Alt_L},
    {59, XKB_KEY_Control_L},
    {60, XKB_KEY_Shift_R},
    {61, XKB_KEY_Alt_R},
    {62, XKB_KEY_Control_R},
    // Function keys.
    {122, XKB_KEY_F1},
    {120, XKB_KEY_F2},
    {99, XKB_KEY_F3},
    {118, XKB_KEY_F4},
    {96, XKB_KEY_F5},
    {97, XKB_KEY_F6},
    {98, XKB_KEY_F7},
    {100, XKB_KEY_F8},
    {101, XKB_KEY_F9},
    {109, XKB_KEY_F10},
    {103, XKB_KEY_F11},
    {111, XKB_KEY_F12},
    {105, XKB_KEY_F13},
    {107, XKB_KEY_F14},
    {113, XKB_KEY_F15},
    {106, XKB_KEY_F16},
    {64, XKB_KEY_F17},
    {79, XKB_KEY_F18},
    {80, XKB_KEY_F19},
    {90, XKB_KEY_F20},
    // The number pad.
    {82, XKB_KEY_KP_0},
    {83, XKB_KEY_KP_1},
    {84, XKB_KEY_KP_2},
    {85, XKB_KEY_KP_3},
    {86, XKB_KEY_KP_4},
    {87, XKB_KEY_KP_5},
    {88, XKB_KEY_KP_6},
    {89, XKB_KEY_KP_7},
    {91, XKB_KEY_KP_8},
    {92, XKB_KEY_KP_9},
    {65, XKB_KEY_KP_Decimal},
    {67, XKB_KEY_KP_Multiply},
    {69, XKB_KEY_KP_Add},
    {71, XKB_KEY_Num_Lock},
    {75, XKB_KEY_KP_Divide},
    {76, XKB_KEY_KP_Enter},
    {78, XKB_KEY_KP_Subtract},
    {81, XKB_KEY_KP_Equal},
    // The keys of the system.
    {72, XKB_KEY_XF86AudioRaiseVolume},
    {73, XKB_KEY_XF86AudioLowerVolume},
    {74, XKB_KEY_XF86AudioMute},
};

} // namespace

std::optional<Key> keyForCode(int code) {
    const auto place = std::ranges::find(PLACES, code, &Place::code);
    if (place != std::end(PLACES))
        return Key{.position = place->position};
    const auto purpose = std::ranges::find(PURPOSES, code, &Purpose::code);
    if (purpose != std::end(PURPOSES))
        return Key{.symbol = purpose->symbol};
    return std::nullopt;
}

} // namespace ombru
