#include "Platform/SystemErrorText.hpp"

#include "Support/Text.hpp"

#include <cerrno>
#include <cstring>

namespace velmora {

namespace {

// Our wording for the errors a removal meets every day; nothing for the rest.
const char* ownWording(int code) {
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
        return nullptr;
    }
}

} // namespace

std::string systemErrorText(int code) {
    if (const char* text = ownWording(code))
        return text;
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

std::string launchErrorText(int code) {
    // A program is started, not removed: "does not exist" and "no permission" mean something else here.
    switch (code) {
    case ENOENT:
        return "Programm nicht gefunden";
    case EACCES:
    case EPERM:
        return "Keine Berechtigung, das Programm auszuführen";
    case ENOEXEC:
        return "Die Datei ist kein ausführbares Programm";
#ifdef EBADARCH
    case EBADARCH:
        return "Das Programm ist für einen anderen Prozessor gebaut";
#endif
    case E2BIG:
        return "Zu viele oder zu lange Argumente";
    case ELOOP:
        return "Zu viele symbolische Links im Pfad des Programms";
    default:
        break;
    }
    if (const char* text = ownWording(code))
        return text;
    return "Start fehlgeschlagen (Systemfehler " + std::to_string(code) + ")";
}

} // namespace velmora
