# Debian's cross compiler for 64-bit Arm, and qemu to run what it makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
# fmt's headers are the same for every machine, but its package lies with the building machine's.
file(GLOB fmt_DIR "/usr/lib/*/cmake/fmt")
