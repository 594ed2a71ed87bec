# What every target of ours has in common: warnings as errors, sanitizers, a fast linker.
add_library(quorvia_warnings INTERFACE)
target_compile_options(quorvia_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                       $<$<AND:$<BOOL:${QUORVIA_STRICT}>,$<CXX_COMPILER_ID:GNU>>:-Werror>)
# In a batch every file but the first counts as included, so that what it keeps to itself looks shared.
target_compile_options(quorvia_warnings INTERFACE
  $<$<AND:$<BOOL:${QUORVIA_BATCHES}>,$<CXX_COMPILER_ID:GNU>>:-Wno-subobject-linkage>)
target_include_directories(quorvia_warnings INTERFACE ${CMAKE_SOURCE_DIR}/src)

if(QUORVIA_SANITIZE)
  add_compile_options(-fsanitize=${QUORVIA_SANITIZE})
  add_link_options(-fsanitize=${QUORVIA_SANITIZE})
  # Asio keeps the memory of what has ended for what begins next: a sanitizer would take a use of the former for one
  # of the latter.
  add_compile_definitions(BOOST_ASIO_DISABLE_SMALL_BLOCK_RECYCLING BOOST_ASIO_DISABLE_AWAITABLE_FRAME_RECYCLING)
  # GCC 12 warns that its thread sanitizer knows no fences; Asio has them beside what it knows.
  if(QUORVIA_SANITIZE STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-tsan)
  endif()
  # Half of GCC's time for it; the clang build of the service and the link has these too.
  if(QUORVIA_SANITIZE MATCHES "undefined" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fno-sanitize=null,alignment,object-size,vptr)
    # With them GCC 12 takes std::regex for using what it has not set.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()

# A fuzzer finds its way by what it sees of the code that it tries, not of itself alone.
if(QUORVIA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

find_program(MOLD mold)
if(MOLD)
  add_link_options(-fuse-ld=mold)
endif()

# A library of ours: quorvia_library(NAME PUBLIC a b PRIVATE c). Its files come from the rooms' own lists.
function(quorvia_library name)
  add_library(${name} STATIC ${CMAKE_SOURCE_DIR}/cmake/empty.cpp)
  target_link_libraries(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE quorvia_warnings)
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
endfunction()
