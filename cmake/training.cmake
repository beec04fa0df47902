# SPDX-License-Identifier: GPL-2.0-only
# The core, the host platform and the commands are compiled twice: a training build counts where the tool goes while it renders the
# samples, and the compiler lays the code out by the counts. Code that no sample reaches is compiled as ever. When a source changes,
# all are counted again; objects that are up to date keep what they were built with.
set(training ${CMAKE_BINARY_DIR}/training)
if(DEBUG_PKT_TRAINING)
  set(by_counts -O2 -fprofile-generate=${CMAKE_BINARY_DIR}/counts -fprofile-prefix-path=${CMAKE_BINARY_DIR})
  set(for_whole_program "")
  set(as_whole_program -fprofile-generate)
  set(CMAKE_CXX_FLAGS_RELEASE -O0) # of what is not counted
  return()
endif()

file(GLOB_RECURSE trained_sources CONFIGURE_DEPENDS LIST_DIRECTORIES false
  capture/* config/* decode/* include/* output/* platform/platform.h platform/host/* text/* tools/* samples/*.pcap)
# The same compiler, and the libraries from where they are found here.
foreach(setting DEBUG_PKT_STATIC CMAKE_CXX_COMPILER CMAKE_CXX_FLAGS CMAKE_PREFIX_PATH CMAKE_TOOLCHAIN_FILE)
  string(REPLACE ";" "$<SEMICOLON>" value "${${setting}}")
  list(APPEND as_here -D${setting}=${value})
endforeach()
add_custom_command(OUTPUT ${training}/counted
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/train ${training} ${CMAKE_COMMAND} -G ${CMAKE_GENERATOR} --compile-no-warning-as-error
          -DDEBUG_PKT_TRAINING=ON ${as_here}
  COMMAND ${CMAKE_COMMAND} -E touch ${training}/counted
  DEPENDS ${trained_sources} ${CMAKE_CURRENT_LIST_DIR}/train
  COMMENT "Building and running what counts where the tool goes" VERBATIM)
add_custom_target(training DEPENDS ${training}/counted)
set(by_counts -fprofile-use=${training}/counts -fprofile-prefix-path=${CMAKE_BINARY_DIR} -fprofile-partial-training
  -Wno-missing-profile)
