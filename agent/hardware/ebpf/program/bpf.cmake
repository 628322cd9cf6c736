# What runs inside the kernel is compiled with clang, whatever compiles the rest, and comes as a header that holds the
# object and its loader (bpftool-gen(8)).
find_package(PkgConfig REQUIRED)
pkg_check_modules(LIBBPF REQUIRED IMPORTED_TARGET GLOBAL libbpf>=1.1)
find_program(ORLO_BPF_CLANG NAMES clang clang-14 DOC "the compiler for programs that run inside the kernel")
find_program(ORLO_BPFTOOL NAMES bpftool PATHS /usr/sbin /sbin DOC "makes the loaders of programs that run in the kernel")
if(NOT ORLO_BPF_CLANG)
   message(FATAL_ERROR "There is no clang for the program that runs inside the kernel: install the package clang (make setup does).")
endif()
if(NOT ORLO_BPFTOOL)
   message(FATAL_ERROR "There is no bpftool, which makes the loader of the program that runs inside the kernel: install the package bpftool (make setup does).")
endif()
execute_process(COMMAND ${ORLO_BPF_CLANG} -target bpf -x c -c -o /dev/null -
                INPUT_FILE /dev/null RESULT_VARIABLE result ERROR_VARIABLE reason OUTPUT_QUIET)
if(NOT result EQUAL 0)
   message(FATAL_ERROR "${ORLO_BPF_CLANG} does not compile for the kernel (-target bpf): ${reason}")
endif()

# bpf_skeleton(TARGET NAME) compiles NAME.bpf.c of this folder; TARGET may then include "NAME.skel.h".
function(bpf_skeleton target name)
   set(source ${CMAKE_CURRENT_SOURCE_DIR}/${name}.bpf.c)
   set(folder ${CMAKE_CURRENT_BINARY_DIR}/skeleton)
   set(object ${CMAKE_CURRENT_BINARY_DIR}/${name})
   file(MAKE_DIRECTORY ${folder})
   add_custom_command(
      OUTPUT ${folder}/${name}.skel.h
      COMMAND ${ORLO_BPF_CLANG} -target bpf -O2 -g -Wall -Wextra $<$<BOOL:${ORLO_WERROR}>:-Werror>
              -I${CMAKE_SOURCE_DIR} -isystem /usr/include/${CMAKE_CXX_LIBRARY_ARCHITECTURE}
              -MD -MT ${folder}/${name}.skel.h -MF ${object}.d -c ${source} -o ${object}.raw.o
      # Keeps the types, without the rest of what a debugger would want.
      COMMAND ${ORLO_BPFTOOL} gen object ${object}.bpf.o ${object}.raw.o
      COMMAND ${ORLO_BPFTOOL} gen skeleton ${object}.bpf.o name ${name}_object > ${folder}/${name}.skel.h
      DEPENDS ${source}
      DEPFILE ${object}.d
      COMMENT "Building BPF object ${name}.bpf.o"
      VERBATIM)
   target_sources(${target} PRIVATE ${folder}/${name}.skel.h)
   target_include_directories(${target} SYSTEM PRIVATE ${folder})
   target_link_libraries(${target} PRIVATE PkgConfig::LIBBPF)
endfunction()
