# The control processor's 32 bits with clang, for what gcc does not measure. Everything else is as in target32.cmake.
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)

execute_process(COMMAND gcc -print-multiarch OUTPUT_VARIABLE multiarch OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/${multiarch}")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_CURRENT_LIST_DIR}/without_warnings.sh $ENV{CMAKE_CXX_COMPILER_LAUNCHER})
