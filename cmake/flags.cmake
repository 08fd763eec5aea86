# Warnings and hardening for every target of the project: link tarn_flags.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# The build tree has the shape of the installed one, so programs find their libraries by the same relative path in both.
# CMake's own build paths end in an empty element, which means the current directory.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_BINDIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})
include(CheckPIESupported)
check_pie_supported()

add_library(tarn_flags INTERFACE)
target_compile_options(tarn_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror -fstack-protector-strong -fstack-clash-protection)
target_compile_definitions(tarn_flags INTERFACE _GNU_SOURCE)
target_link_options(tarn_flags INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)

if(TARN_SANITIZE)
    target_compile_options(tarn_flags INTERFACE -fsanitize=${TARN_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(tarn_flags INTERFACE -fsanitize=${TARN_SANITIZE})
elseif(NOT TARN_COVERAGE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    # Fortified calls hide from the sanitizers and need optimisation.
    target_compile_definitions(tarn_flags INTERFACE _FORTIFY_SOURCE=2)
endif()
if(TARN_COVERAGE)
    target_compile_options(tarn_flags INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(tarn_flags INTERFACE --coverage)
endif()
if(TARN_BUILD_FUZZ)
    target_compile_options(tarn_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# For programs that only look at others: what they look at is sanitized. Link it last.
add_library(tarn_unsanitized INTERFACE)
if(TARN_SANITIZE)
    target_compile_options(tarn_unsanitized INTERFACE -fno-sanitize=all)
endif()

# For programs whose own speed does not matter: compiling them takes most of a build, optimising and describing them for
# the debugger most of that. Line numbers stay; the debug preset keeps all.
add_library(tarn_fast_build INTERFACE)
target_compile_options(tarn_fast_build INTERFACE -O0 -U_FORTIFY_SOURCE $<$<NOT:$<CONFIG:Debug>>:-g1>)
