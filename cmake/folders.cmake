find_package(Threads REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(ZLIB REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(prometheus-cpp REQUIRED COMPONENTS core)
find_package(CURL REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET pangocairo cairo-pdf)
pkg_check_modules(NCURSES REQUIRED IMPORTED_TARGET ncursesw)
pkg_check_modules(MICROHTTPD REQUIRED IMPORTED_TARGET libmicrohttpd)
pkg_check_modules(MOSQUITTO REQUIRED IMPORTED_TARGET libmosquitto)
pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
# Every target is built with the same warnings, all of them errors. GCC 12 takes the standard library's own string
# concatenation for overlapping memory, hence the one that is off for it; clang and the sanitizers look for the same.
add_library(nb1_warnings INTERFACE)
target_compile_options(nb1_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> -Werror)
target_include_directories(nb1_warnings INTERFACE ${PROJECT_SOURCE_DIR})

# Most of a source's time goes into reading headers, so the sources of a folder are compiled several together; names that
# are local to a source are unique in its folder. With a compiler cache each is better off alone, and so it is in the fuzz
# preset, which shows that each includes what it uses. GCC then takes classes of a source for a header's.
if(NOT DEFINED CMAKE_UNITY_BUILD AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_UNITY_BUILD ON)
endif()
set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)
if(CMAKE_UNITY_BUILD)
    target_compile_options(nb1_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
# The terminal library's macros would be seen by the sources behind it.
set_property(SOURCE ${PROJECT_SOURCE_DIR}/station/sink/screen/terminal.cpp PROPERTY SKIP_UNITY_BUILD_INCLUSION ON)

# nb1_folder(PATH LINKS folder... PACKAGES target...): the sources of a folder as the static target nb1_PATH, with "_" for "/".
function(nb1_folder PATH)
    cmake_parse_arguments(ARG "" "" "LINKS;PACKAGES" ${ARGN})
    nb1_targets(target ${PATH})
    nb1_targets(links ${ARG_LINKS})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/*.cpp)
    add_library(${target} STATIC ${sources})
    target_link_libraries(${target} PUBLIC nb1_warnings ${links} ${ARG_PACKAGES})
endfunction()

# Sets RESULT to the targets of folders.
function(nb1_targets RESULT)
    string(REPLACE "/" "_" targets "${ARGN}")
    list(TRANSFORM targets PREPEND nb1_)
    set(${RESULT} ${targets} PARENT_SCOPE)
endfunction()

# The files of PATH/page, the chart library and PATH/openapi.json, built into the folder's target.
function(nb1_page PATH)
    nb1_targets(target ${PATH})
    file(GLOB files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${PATH}/page/*)
    foreach(file dygraph.min.js dygraph.min.css)
        find_file(NB1_${file} ${file} PATHS /usr/share/javascript/dygraphs REQUIRED NO_DEFAULT_PATH)
        list(APPEND files ${NB1_${file}})
    endforeach()
    list(APPEND files ${PROJECT_SOURCE_DIR}/${PATH}/openapi.json)
    set(source ${PROJECT_BINARY_DIR}/page_files.cpp)
    set(script ${PROJECT_SOURCE_DIR}/cmake/embed.cmake)
    add_custom_command(OUTPUT ${source} DEPENDS ${files} ${script} VERBATIM
                       COMMAND ${CMAKE_COMMAND} -D OUT=${source} -D "FILES=${files}" -P ${script})
    target_sources(${target} PRIVATE ${source})
    set_property(SOURCE ${source} PROPERTY SKIP_UNITY_BUILD_INCLUSION ON)
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
