// Lengths that grow with the desktop's letters, so that what is drawn beside a text goes with it. Main thread, with a
// graphical application.
#pragma once

namespace ombru {

// So many pixels where the desktop's letters are of the ordinary size, and more where they are larger.
int withLetters(int pixels);

} // namespace ombru
