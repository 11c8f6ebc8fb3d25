# This machine with the C library musl (Debian's musl-tools): for programs in C, and for C++ without its run-time library,
# whose headers alone are there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)
execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -dumpmachine OUTPUT_VARIABLE machine OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX MATCH "^[0-9]+" version ${version})
# The C++ headers were configured for glibc and ask for its version.
string(JOIN " " CMAKE_CXX_FLAGS_INIT
       "-specs=/usr/lib/${CMAKE_SYSTEM_PROCESSOR}-linux-musl/musl-gcc.specs -nostdinc++ -isystem /usr/include/c++/${version}"
       "-isystem /usr/include/${machine}/c++/${version} '-D__GLIBC_PREREQ(a,b)=0'")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
