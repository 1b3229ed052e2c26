# Libraries to load beside the real one: smaller ones, with one part of what it is made of each, and
# the same one built otherwise. All of them go to bin/variants.
set(variants "${CMAKE_BINARY_DIR}/bin/variants")

function(zor_bench_variant name)
  add_library(variant_${name} SHARED EXCLUDE_FROM_ALL ${ARGN})
  set_target_properties(variant_${name} PROPERTIES PREFIX "" OUTPUT_NAME ${name}
                        RUNTIME_OUTPUT_DIRECTORY "${variants}")
  target_link_options(variant_${name} PRIVATE -s)
  set_property(GLOBAL APPEND PROPERTY zor_bench_variants variant_${name})
endfunction()

# --- one part each
zor_bench_variant(empty load/empty.c)
foreach(part strings streams regex filesystem)
  zor_bench_variant(${part} load/${part}.cpp)
endforeach()

zor_bench_variant(thread load/thread.cpp "${PROJECT_SOURCE_DIR}/src/platform/win32/thread.cpp"
                  "${PROJECT_SOURCE_DIR}/src/interface/dll_main.cpp")
target_include_directories(variant_thread PRIVATE "${PROJECT_SOURCE_DIR}/src")

# --- the library's own objects, linked otherwise
set(rest $<TARGET_OBJECTS:zor_core> $<TARGET_OBJECTS:zor_messages>
         $<TARGET_OBJECTS:zor_unloadable_runtime>)
set(platform $<TARGET_OBJECTS:zor_platform>)
set(entry "${PROJECT_SOURCE_DIR}/src/interface/dll_main.cpp"
          "${PROJECT_SOURCE_DIR}/src/interface/load.cpp"
          "${PROJECT_SOURCE_DIR}/src/interface/zor_interface.def")

function(zor_bench_relinked name)
  zor_bench_variant(${name} ${entry} ${ARGN})
  target_compile_definitions(variant_${name} PRIVATE ZOR_INTERFACE_BUILD)
  target_link_libraries(variant_${name} PRIVATE zor_messages wbemuuid zor_flags)
endfunction()

zor_bench_relinked(same ${rest} ${platform})
target_link_options(variant_same PRIVATE -Wl,-Map,${variants}/same.map)
zor_bench_relinked(alignment_512 ${rest} ${platform})
target_link_options(variant_alignment_512 PRIVATE -Wl,--file-alignment=512)
zor_bench_relinked(all_sections ${rest} ${platform})
target_link_options(variant_all_sections PRIVATE -Wl,--no-gc-sections)
zor_bench_relinked(no_listener ${rest} $<FILTER:${platform},EXCLUDE,/thread\\.cpp> load/no_thread.cpp)

# --- compiled otherwise
set(sources)
foreach(target zor_core zor_messages zor_platform zor_unloadable_runtime)
  get_target_property(folder ${target} SOURCE_DIR)
  get_target_property(files ${target} SOURCES)
  list(TRANSFORM files PREPEND "${folder}/" OUTPUT_VARIABLE files)
  list(APPEND sources ${files})
endforeach()

function(zor_bench_recompiled name)
  zor_bench_relinked(${name} ${sources})
  # Whose definition for this one file counts where the file is compiled only.
  set_source_files_properties("${PROJECT_SOURCE_DIR}/src/platform/win32/format.cpp"
                              PROPERTIES COMPILE_DEFINITIONS _UCRT)
  target_compile_options(variant_${name} PRIVATE ${ARGN})
  target_link_options(variant_${name} PRIVATE ${ARGN})
endfunction()

zor_bench_recompiled(Os -Os)
zor_bench_recompiled(lto -flto)
zor_bench_recompiled(Os_lto -Os -flto)

get_property(all GLOBAL PROPERTY zor_bench_variants)
add_custom_target(zor_bench_variants DEPENDS ${all})
