# Headers from outside that many files include, read once for each side. They save reading and nothing else:
# every file still includes what it uses, and all of it builds with CMAKE_DISABLE_PRECOMPILE_HEADERS as well.
# Headers of ours have no place here: touching one would build a whole floor anew.

option(QUORVIA_PRECOMPILED "Precompile headers from outside" ON)
if(QUORVIA_PRECOMPILED AND CMAKE_CXX_COMPILER_LAUNCHER STREQUAL "ccache")
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_SOURCE_DIR}/cmake/compile)
endif()

# quorvia_precompiled(NAME LINK targets ABOVE targets HEADERS headers): a set. Of the targets above it has the
# directories and not the definitions, so that it fits those that lie lower, too.
# quorvia_reads(TARGET NAME): the target takes it; it has every definition that the set was made with.
function(quorvia_precompiled name)
  cmake_parse_arguments(ARG "" "" "LINK;ABOVE;HEADERS" ${ARGN})
  if(NOT QUORVIA_PRECOMPILED)
    return()
  endif()
  add_library(precompiled_${name} OBJECT ${CMAKE_SOURCE_DIR}/cmake/empty.cpp)
  target_link_libraries(precompiled_${name} PRIVATE ${ARG_LINK} quorvia_warnings)
  foreach(target IN LISTS ARG_ABOVE)
    target_include_directories(precompiled_${name} SYSTEM PRIVATE
      $<TARGET_PROPERTY:${target},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  list(TRANSFORM ARG_HEADERS REPLACE "(.+)" "<\\1>")
  target_precompile_headers(precompiled_${name} PRIVATE ${ARG_HEADERS})
endfunction()

function(quorvia_reads target name)
  if(QUORVIA_PRECOMPILED)
    target_precompile_headers(${target} REUSE_FROM precompiled_${name})
  endif()
endfunction()

# Tests are built more often than they are waited for: what they test is optimised, they themselves are not.
set(quorvia_quick $<$<CONFIG:Release>:-O0>)

# A test takes the set that fits what it links; those on the ground need none.
function(quorvia_test_reads target)
  target_compile_options(${target} PRIVATE ${quorvia_quick})
  if("faulty_net" IN_LIST ARGN)
    quorvia_reads(${target} link_tests)
  elseif("zephyl_relay" IN_LIST ARGN OR "zephyl_log" IN_LIST ARGN)
    quorvia_reads(${target} service_tests)
  elseif(ARGN MATCHES "quorvia_(rules|platform|test_support|ui)")
    quorvia_reads(${target} client_tests)
  endif()
endfunction()

set(std algorithm array atomic chrono cstdint cstring deque functional map memory mutex optional set span
  stdexcept string string_view system_error unordered_map utility variant vector)
set(asio boost/asio/as_tuple.hpp boost/asio/awaitable.hpp boost/asio/co_spawn.hpp boost/asio/detached.hpp
  boost/asio/io_context.hpp boost/asio/ip/tcp.hpp boost/asio/post.hpp boost/asio/steady_timer.hpp
  boost/asio/strand.hpp boost/asio/thread_pool.hpp boost/asio/use_awaitable.hpp)
set(messages google/protobuf/extension_set.h google/protobuf/generated_message_util.h
  google/protobuf/message_lite.h google/protobuf/repeated_field.h)
set(qt_core QByteArray QDateTime QFile QObject QString QStringList)
set(qt ${qt_core} QGuiApplication QImage QKeyEvent QPainter QRegion
  QApplication QComboBox QDialog QGroupBox QLabel QLineEdit QListWidget QMenu QPushButton QTimer)

quorvia_precompiled(service LINK zephyl_asio zephyl_messages HEADERS ${std} ${asio} ${messages})
if(QUORVIA_CLIENT)
  quorvia_precompiled(client LINK quorvia_qt ABOVE Qt6::Gui Qt6::Widgets HEADERS ${std} ${qt})
  quorvia_precompiled(link LINK quorvia_qt zephyl_asio zephyl_messages HEADERS ${std} ${qt_core} ${asio} ${messages})
endif()
if(QUORVIA_TESTS)
  quorvia_precompiled(service_tests LINK zephyl_asio zephyl_messages GTest::gtest
    HEADERS ${std} ${asio} ${messages} gtest/gtest.h)
  if(QUORVIA_CLIENT)
    quorvia_precompiled(link_tests LINK quorvia_qt zephyl_asio zephyl_messages GTest::gtest
      HEADERS ${std} ${qt_core} ${asio} ${messages} gtest/gtest.h)
    quorvia_precompiled(client_tests LINK quorvia_qt GTest::gtest ABOVE Qt6::Gui Qt6::Widgets
      HEADERS ${std} ${qt} QDir QRegularExpression QTemporaryDir gtest/gtest.h)
  endif()
  foreach(set service_tests link_tests client_tests)
    if(TARGET precompiled_${set})
      target_compile_options(precompiled_${set} PRIVATE ${quorvia_quick})
    endif()
  endforeach()
endif()
