# Flags of every target of ours. Nothing is fused unless the code says so: the simulations must give the same
# numbers on every machine.
add_library(lumenwhirlOptions INTERFACE)
target_compile_options(lumenwhirlOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off
    $<$<BOOL:${LUMENWHIRL_WERROR}>:-Werror>)
# GCC 12 sees overlapping copies in std::string's operator+ where there are none (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(lumenwhirlOptions INTERFACE -Wno-restrict)
endif()
