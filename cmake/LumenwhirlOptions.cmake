# Flags of every target of ours. Nothing is fused unless the code says so: the simulations must give the same
# numbers on every machine.
add_library(lumenwhirlOptions INTERFACE)
target_compile_options(lumenwhirlOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffp-contract=off
    $<$<BOOL:${LUMENWHIRL_WERROR}>:-Werror>)
