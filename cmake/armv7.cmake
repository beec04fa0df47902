# SPDX-License-Identifier: GPL-2.0-only
# ARMv7 as the appliance's kernel compiles for it: no floating point, no unaligned access, no user-space start-up code.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(kernel_flags "-marm -march=armv7-a -mfloat-abi=soft -mgeneral-regs-only -mno-unaligned-access -fno-pic -fno-stack-protector -fno-asynchronous-unwind-tables -fno-use-cxa-atexit")
set(CMAKE_C_FLAGS_INIT "${kernel_flags}")
set(CMAKE_CXX_FLAGS_INIT "${kernel_flags}")
