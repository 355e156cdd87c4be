#pragma once

#include <string_view>

/// Line drawings on a grid of 24 by 24, as absolute paths: M x y, L x y, C with six numbers and Z as in SVG, O x
/// y r is a circle, R x y width height r a rounded rectangle.
namespace lumenwhirl::demo::icon {

inline constexpr std::string_view board = "R 3.5 4 4.5 16 1.5 R 9.75 4 4.5 11 1.5 R 16 4 4.5 7 1.5";
inline constexpr std::string_view document =
    "M 13.5 3 L 7 3 C 5.9 3 5 3.9 5 5 L 5 19 C 5 20.1 5.9 21 7 21 L 17 21 C 18.1 21 19 20.1 19 19 L 19 8.5 Z "
    "M 13.5 3 L 13.5 8.5 L 19 8.5 M 8.5 13 L 15.5 13 M 8.5 16.75 L 13 16.75";
inline constexpr std::string_view folder =
    "M 3 7 C 3 5.9 3.9 5 5 5 L 9.2 5 L 11.4 7.5 L 19 7.5 C 20.1 7.5 21 8.4 21 9.5 L 21 17 "
    "C 21 18.1 20.1 19 19 19 L 5 19 C 3.9 19 3 18.1 3 17 Z";
inline constexpr std::string_view terminal = "M 5 7.5 L 9.5 12 L 5 16.5 M 12.5 17 L 19 17";
inline constexpr std::string_view note = "O 7 17.5 2.8 O 17 15.5 2.8 M 9.8 17.5 L 9.8 6 L 19.8 4 L 19.8 15.5";
inline constexpr std::string_view gear =
    "O 12 12 3.2 M 12 2.8 L 12 5.6 M 12 18.4 L 12 21.2 M 2.8 12 L 5.6 12 M 18.4 12 L 21.2 12 M 5.5 5.5 "
    "L 7.5 7.5 M 16.5 16.5 L 18.5 18.5 M 5.5 18.5 L 7.5 16.5 M 16.5 7.5 L 18.5 5.5 O 12 12 6.5";
inline constexpr std::string_view plus = "M 12 5 L 12 19 M 5 12 L 19 12";
inline constexpr std::string_view search = "O 10.75 10.75 6.25 M 15.4 15.4 L 20.5 20.5";
inline constexpr std::string_view wifi =
    "M 2.5 9.5 C 8 4.3 16 4.3 21.5 9.5 M 5.8 13.2 C 9.4 9.9 14.6 9.9 18.2 13.2 M 9 16.8 "
    "C 10.8 15.2 13.2 15.2 15 16.8 O 12 19.6 1.1";
inline constexpr std::string_view volume =
    "M 4 9.5 L 7.5 9.5 L 12 5.5 L 12 18.5 L 7.5 14.5 L 4 14.5 Z M 15.5 9 C 17 10.7 17 13.3 15.5 15 M 18 6.5 "
    "C 21 9.6 21 14.4 18 17.5";
inline constexpr std::string_view battery =
    "R 2.5 7.5 17 9 2.5 M 22 10.5 L 22 13.5 M 5.5 10.5 L 5.5 13.5 M 8.7 10.5 L 8.7 13.5 M 11.9 10.5 L 11.9 13.5";
inline constexpr std::string_view chevronDown = "M 6.5 9.5 L 12 15 L 17.5 9.5";
inline constexpr std::string_view check = "M 5 12.5 L 10 17.5 L 19.5 7";
inline constexpr std::string_view close = "M 6.5 6.5 L 17.5 17.5 M 17.5 6.5 L 6.5 17.5";
inline constexpr std::string_view minimize = "M 6 12 L 18 12";
inline constexpr std::string_view maximize = "R 6.5 6.5 11 11 1.5";
inline constexpr std::string_view globe =
    "O 12 12 8.8 M 3.2 12 L 20.8 12 M 12 3.2 C 16.6 7.8 16.6 16.2 12 20.8 M 12 3.2 C 7.4 7.8 7.4 16.2 12 20.8";
inline constexpr std::string_view mail = "R 3 5.5 18 13.5 2 M 3.6 7.2 L 12 13.2 L 20.4 7.2";
inline constexpr std::string_view download = "M 12 4 L 12 15 M 7 10.5 L 12 15.5 L 17 10.5 M 4.5 19.8 L 19.5 19.8";
inline constexpr std::string_view link =
    "M 10 14 C 12 16 14.6 15.6 16.2 14 L 19 11.2 C 21 9.2 21 6.4 19.2 4.8 C 17.4 3.2 14.9 3.3 13 5.1 L 11.6 6.4 "
    "M 14 10 C 12 8 9.4 8.4 7.8 10 L 5 12.8 C 3 14.8 3 17.6 4.8 19.2 C 6.6 20.8 9.1 20.7 11 18.9 L 12.4 17.6";
inline constexpr std::string_view moon =
    "M 20 14.3 C 12.5 17 6.8 11 9.7 4 C 1 7 2.5 20.5 12 20.5 C 15.6 20.5 18.9 18 20 14.3 Z";
inline constexpr std::string_view sun =
    "O 12 12 4 M 12 2.8 L 12 4.8 M 12 19.2 L 12 21.2 M 2.8 12 L 4.8 12 M 19.2 12 L 21.2 12 M 5.5 5.5 L 6.9 6.9 "
    "M 17.1 17.1 L 18.5 18.5 M 5.5 18.5 L 6.9 17.1 M 17.1 6.9 L 18.5 5.5";
inline constexpr std::string_view calendar =
    "R 3.5 5 17 15.5 2.5 M 3.5 10 L 20.5 10 M 8 2.8 L 8 6.5 M 16 2.8 L 16 6.5";
inline constexpr std::string_view comment =
    "M 6 4.5 L 18 4.5 C 19.4 4.5 20.5 5.6 20.5 7 L 20.5 14 C 20.5 15.4 19.4 16.5 18 16.5 L 12.5 16.5 L 7.8 20.3 "
    "L 7.8 16.5 L 6 16.5 C 4.6 16.5 3.5 15.4 3.5 14 L 3.5 7 C 3.5 5.6 4.6 4.5 6 4.5 Z";
inline constexpr std::string_view inbox =
    "M 3 13 L 6.2 5.8 C 6.5 5.2 6.9 5 7.5 5 L 16.5 5 C 17.1 5 17.5 5.2 17.8 5.8 L 21 13 L 21 17.5 "
    "C 21 18.3 20.3 19 19.5 19 L 4.5 19 C 3.7 19 3 18.3 3 17.5 Z M 3 13 L 8.3 13 L 9.8 15.5 L 14.2 15.5 "
    "L 15.7 13 L 21 13";
inline constexpr std::string_view lantern =
    "M 12 2.5 L 12 5 M 8.5 5 L 15.5 5 M 8.5 19 L 15.5 19 M 12 19 L 12 21.8 M 8.5 5 C 3.2 8.5 3.2 15.5 8.5 19 "
    "M 15.5 5 C 20.8 8.5 20.8 15.5 15.5 19 M 12 5 L 12 19";

}  // namespace lumenwhirl::demo::icon
