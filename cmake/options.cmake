# What every target of the project is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

add_library(flintrow_options INTERFACE)
target_compile_options(flintrow_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_include_directories(flintrow_options INTERFACE ${CMAKE_SOURCE_DIR})

set(FLINTROW_SANITIZE "" CACHE STRING "address, thread, or empty")
if(FLINTROW_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(FLINTROW_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()
if(FLINTROW_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized) # false alarms about code that a sanitizer has changed
endif()

if(FLINTROW_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()
