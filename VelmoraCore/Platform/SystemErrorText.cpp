#include "Platform/SystemErrorText.hpp"

#include "Support/Text.hpp"

#include <cerrno>
#include <cstring>

namespace velmora {

std::string systemErrorText(int code) {
    switch (code) {
    case EACCES:
    case EPERM:
        return "Keine Berechtigung";
    case EROFS:
        return "Das Volume ist schreibgeschützt";
    case EBUSY:
    case ETXTBSY:
        return "Wird gerade benutzt";
    case ENOSPC:
    case EDQUOT:
        return "Kein Platz mehr auf dem Volume";
    case ENOENT:
        return "Existiert nicht mehr";
    case ENOTEMPTY:
    case EEXIST:
        return "Ordner ist nicht leer";
    case ENAMETOOLONG:
        return "Name oder Pfad ist zu lang";
    case ENOTDIR:
        return "Ein Teil des Pfads ist kein Ordner";
    case ELOOP:
        return "Symbolischer Link an unerwarteter Stelle – nicht gefolgt";
    case EXDEV:
        return "Liegt auf einem anderen Volume";
    case EIO:
        return "Ein-/Ausgabefehler beim Zugriff auf das Volume";
    case EMFILE:
    case ENFILE:
        return "Zu viele offene Dateien";
    case ENOMEM:
        return "Nicht genug Arbeitsspeicher";
    default:
        break;
    }
    char buffer[256] = {};
    // The GNU and the POSIX strerror_r differ in their result; strerror_l would need a locale object.
#if defined(__GLIBC__) && defined(_GNU_SOURCE)
    const char* text = ::strerror_r(code, buffer, sizeof buffer);
#else
    const char* text = ::strerror_r(code, buffer, sizeof buffer) == 0 ? buffer : "";
#endif
    std::string result = "Systemfehler " + std::to_string(code);
    if (text != nullptr && *text != '\0')
        result += ": " + Text::repairUTF8(text);
    return result;
}

} // namespace velmora
