# Flags that every target of the project shares, as the interface target kiosk_options,
# and the precompiled Qt headers, as kiosk_use_pch(target).

add_library(kiosk_options INTERFACE)
target_compile_options(kiosk_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-align -Wunused -Wimplicit-fallthrough -Werror
    # Full optimisation makes it see null where a guarded pointer was just tested.
    $<$<CONFIG:Debug>:-Wnull-dereference>)
target_compile_definitions(kiosk_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH
    QT_NO_KEYWORDS
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    # The bearer classes, which 5.15 deprecates, are the only source of the online state.
    QT_DISABLE_DEPRECATED_BEFORE=0x050e00
    QT_DEPRECATED_WARNINGS_SINCE=0x050e00
    QT_MESSAGELOGCONTEXT)
target_include_directories(kiosk_options INTERFACE "${CMAKE_SOURCE_DIR}")
# A precompiled header serves only where the macros that it was made with are defined.
target_link_libraries(kiosk_options INTERFACE Qt5::Core Qt5::DBus Qt5::Network)

# Headers of the toolkit are the greater part of each compilation: they are parsed once
# for libraries and once for programs, which differ in their code model.
set(KIOSK_PCH_HEADERS
    <QtCore/QtCore> <QtDBus/QtDBus> <QtNetwork/QtNetwork>)

function(kiosk_pch_target name)
    file(WRITE "${CMAKE_BINARY_DIR}/pch/${name}.cpp.in" "int ${name}();\nint ${name}() { return 0; }\n")
    configure_file("${CMAKE_BINARY_DIR}/pch/${name}.cpp.in" "${CMAKE_BINARY_DIR}/pch/${name}.cpp" COPYONLY)
    add_library(${name} STATIC EXCLUDE_FROM_ALL "${CMAKE_BINARY_DIR}/pch/${name}.cpp")
    set_target_properties(${name} PROPERTIES AUTOMOC OFF POSITION_INDEPENDENT_CODE OFF)
    target_link_libraries(${name} PRIVATE kiosk_options Qt5::Core Qt5::DBus Qt5::Network)
    target_precompile_headers(${name} PRIVATE ${KIOSK_PCH_HEADERS})
endfunction()
kiosk_pch_target(kiosk_pch)

function(kiosk_use_pch target)
    target_precompile_headers(${target} REUSE_FROM kiosk_pch)
endfunction()
