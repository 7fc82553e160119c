# What a fault in our code must not become. SECURITY.md says what each is for, the test built_files_are_hardened looks
# for them in what was built.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# The library's own assertions, in every build.
add_compile_definitions(_GLIBCXX_ASSERTIONS)

# What people run. The sanitizers of the other builds have more of the same, and would be in the way of it.
if(CMAKE_BUILD_TYPE STREQUAL Release)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
        add_compile_options(-fcf-protection=full)
    elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
        add_compile_options(-mbranch-protection=standard)
    endif()
    add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
endif()
