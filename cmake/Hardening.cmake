# What makes a fault that overruns memory end the program instead of carrying somebody else's code.
# tests/hardening looks at the programs. Not under the sanitizers, which see more and have their own
# way with the same functions.
#
# Return addresses and indirect calls are marked for processors that check them (CET); the checks are
# off as long as the C library's start files and the static libraries of the system carry no marks.
option(TARN_HARDENING "Compile and link against exploits" ON)
if(TARN_HARDENING AND NOT TARN_SANITIZERS)
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
    # Level 3 also bounds what is only known at run time; compilers that lack it take it as 2. The
    # checks need an optimised build, and warn in any other.
    if(NOT CMAKE_BUILD_TYPE STREQUAL Debug OR CMAKE_CXX_FLAGS_DEBUG MATCHES "-O[1-9gs]")
        add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
    endif()
endif()
