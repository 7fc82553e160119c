find_package(Threads REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo cairo-pdf)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

# Every target is built with the same warnings, all of them errors. GCC 12 takes the standard library's own string
# concatenation for overlapping memory, hence -Wno-restrict.
add_library(nb1_warnings INTERFACE)
target_compile_options(nb1_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> -Werror)
target_include_directories(nb1_warnings INTERFACE ${PROJECT_SOURCE_DIR})

# nb1_folder(PATH LINKS folder... PACKAGES target... SUBFOLDERS name...): the sources of a folder, and of those subfolders
# that are named, as the static target nb1_<last part of PATH>.
function(nb1_folder PATH)
    cmake_parse_arguments(ARG "" "" "LINKS;PACKAGES;SUBFOLDERS" ${ARGN})
    get_filename_component(name ${PATH} NAME)
    set(patterns ${PATH}/*.cpp)
    foreach(subfolder ${ARG_SUBFOLDERS})
        list(APPEND patterns ${PATH}/${subfolder}/*.cpp)
    endforeach()
    list(TRANSFORM patterns PREPEND ${PROJECT_SOURCE_DIR}/)
    file(GLOB sources CONFIGURE_DEPENDS ${patterns})
    list(TRANSFORM ARG_LINKS PREPEND nb1_)
    add_library(nb1_${name} STATIC ${sources})
    target_link_libraries(nb1_${name} PUBLIC nb1_warnings ${ARG_LINKS} ${ARG_PACKAGES})
endfunction()

# The loadable library: libOrvixNimbo1Lib.so, whose exports are those that library/exports.map lists.
function(nb1_library PATH)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/*.cpp)
    list(TRANSFORM ARG_LINKS PREPEND nb1_)
    add_library(OrvixNimbo1Lib MODULE ${sources})
    set_target_properties(OrvixNimbo1Lib PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/exports.map)
    target_link_libraries(OrvixNimbo1Lib PRIVATE nb1_warnings ${ARG_LINKS})
    target_link_options(OrvixNimbo1Lib PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/${PATH}/exports.map)
endfunction()

# The program nimbo1, and what it is made of as nb1_<PATH> for its tests. It loads the library when it runs.
function(nb1_program PATH)
    nb1_folder(${PATH} ${ARGN})
    add_executable(nimbo1 ${PROJECT_SOURCE_DIR}/${PATH}/main/main.cpp)
    target_link_libraries(nimbo1 PRIVATE nb1_${PATH})
    add_dependencies(nimbo1 OrvixNimbo1Lib)
endfunction()
