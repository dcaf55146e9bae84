# One interface target carries the language level, the warnings and the
# strict Qt defines; every Sorvane target links it.
add_library(sorvane_options INTERFACE)
target_compile_features(sorvane_options INTERFACE cxx_std_20)
target_compile_options(sorvane_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align
    -Woverloaded-virtual -Wimplicit-fallthrough
    $<$<BOOL:${SORVANE_WERROR}>:-Werror>)
target_compile_definitions(sorvane_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_CONTEXTLESS_CONNECT
    QT_NO_FOREACH
    QT_NO_KEYWORDS
    QT_STRICT_ITERATORS
    SORVANE_VERSION="${PROJECT_VERSION}")
