find_package(Threads REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(prometheus-cpp REQUIRED COMPONENTS pull)
find_package(PkgConfig REQUIRED)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo cairo-pdf)
pkg_check_modules(NCURSES REQUIRED IMPORTED_TARGET ncursesw)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
# The compiler defines all that ncurses asks for, and takes no precompiled header where more is defined than in that.
set_property(TARGET PkgConfig::NCURSES PROPERTY INTERFACE_COMPILE_OPTIONS)

# Every target is built with the same warnings, all of them errors. GCC 12 takes the standard library's own string
# concatenation for overlapping or overlong memory, most of all when its headers are precompiled, hence those that are off
# for it; clang and the sanitizers look for the same.
add_library(nb1_warnings INTERFACE)
target_compile_options(nb1_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-stringop-overflow;-Wno-array-bounds> -Werror)
target_include_directories(nb1_warnings INTERFACE ${PROJECT_SOURCE_DIR})

# nb1_precompiled(TARGET): TARGET reads the standard headers as compiled once for all folders, whose compiler flags are the
# same. Headers of other people only: a change of ours must not rebuild everything. For what people run; a compiler cache
# does better without.
function(nb1_precompiled TARGET)
    if(CMAKE_CXX_COMPILER_LAUNCHER OR NOT CMAKE_BUILD_TYPE STREQUAL Release)
        return()
    endif()
    get_property(first GLOBAL PROPERTY nb1_precompiled)
    if(first)
        target_precompile_headers(${TARGET} REUSE_FROM ${first})
    else()
        set_property(GLOBAL PROPERTY nb1_precompiled ${TARGET})
        target_precompile_headers(${TARGET} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/standard_headers.h)
    endif()
endfunction()

# nb1_folder(PATH LINKS folder... PACKAGES target...): the sources of a folder as the static target nb1_PATH, with "_" for "/".
function(nb1_folder PATH)
    cmake_parse_arguments(ARG "" "" "LINKS;PACKAGES" ${ARGN})
    nb1_targets(target ${PATH})
    nb1_targets(links ${ARG_LINKS})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/*.cpp)
    add_library(${target} STATIC ${sources})
    target_link_libraries(${target} PUBLIC nb1_warnings ${links} ${ARG_PACKAGES})
    nb1_precompiled(${target})
endfunction()

# Sets RESULT to the targets of folders.
function(nb1_targets RESULT)
    string(REPLACE "/" "_" targets "${ARGN}")
    list(TRANSFORM targets PREPEND nb1_)
    set(${RESULT} ${targets} PARENT_SCOPE)
endfunction()

# The loadable library: libOrvixNimbo1Lib.so, whose exports are those that library/exports.map lists.
function(nb1_library PATH)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/*.cpp)
    nb1_targets(links ${ARG_LINKS})
    add_library(OrvixNimbo1Lib MODULE ${sources})
    set_target_properties(OrvixNimbo1Lib PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/exports.map)
    target_link_libraries(OrvixNimbo1Lib PRIVATE nb1_warnings ${links})
    target_link_options(OrvixNimbo1Lib PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/${PATH}/exports.map)
endfunction()

# The program nimbo1. It loads the library when it runs.
function(nb1_program PATH)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    nb1_targets(links ${ARG_LINKS})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/*.cpp)
    add_executable(nimbo1 ${sources})
    target_link_libraries(nimbo1 PRIVATE nb1_warnings ${links})
    add_dependencies(nimbo1 OrvixNimbo1Lib)
endfunction()
