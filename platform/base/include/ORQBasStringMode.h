#pragma once

/// How a report spells the characters that a plain terminal or log may not be able to show.
enum class ORQBasStringMode {
    Unicode,  ///< as they are, in UTF-8
    Ascii     ///< as a backslash, u and 4 hexadecimal digits, or U and 8
};
