// Every public header is there and needs nothing of Qt.
#include <kiv/kiv.h>

#if __has_include(<QObject>) || __has_include(<QtCore>) || defined(QT_CORE_LIB)
#error "a program that uses the library must not see Qt"
#endif
