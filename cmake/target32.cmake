# 32 bits on a 64-bit Debian, as on the control processor. The kernel's headers stay where the 64-bit compiler finds
# them: they are looked up last.
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)

execute_process(COMMAND gcc -print-multiarch OUTPUT_VARIABLE multiarch OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/${multiarch}")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
