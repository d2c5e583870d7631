#include "Support/AtomicFile.hpp"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora {

namespace {

std::unexpected<AtomicWriteError> failure(AtomicWriteError::Step step, int error) {
    return std::unexpected(AtomicWriteError{step, std::error_code(error, std::generic_category())});
}

// Closes the descriptor and removes the temporary file unless it was renamed into place.
struct TemporaryFile {
    int descriptor = -1;
    std::string path;
    bool renamed = false;

    ~TemporaryFile() {
        if (descriptor >= 0)
            ::close(descriptor);
        if (!renamed && !path.empty())
            ::unlink(path.c_str());
    }
};

bool writeAll(int descriptor, std::string_view data) {
    while (!data.empty()) {
        const auto written = ::write(descriptor, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

std::expected<void, AtomicWriteError> writeFileAtomically(const std::filesystem::path& file,
                                                          std::string_view data,
                                                          std::optional<unsigned> forcedMode) {
    const auto folder = file.parent_path().empty() ? std::filesystem::path(".") : file.parent_path();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return std::unexpected(AtomicWriteError{AtomicWriteError::Step::createFolder, error});

    TemporaryFile temporary;
    temporary.path = (folder / ("." + file.filename().string() + ".XXXXXX")).string();
    temporary.descriptor = ::mkostemp(temporary.path.data(), O_CLOEXEC);
    if (temporary.descriptor < 0) {
        const int code = errno;
        temporary.path.clear();
        return failure(AtomicWriteError::Step::createTemporary, code);
    }

    struct stat existing {};
    const mode_t mode = forcedMode                             ? static_cast<mode_t>(*forcedMode)
                        : ::stat(file.c_str(), &existing) == 0 ? (existing.st_mode & 07777)
                                                               : 0644;
    if (::fchmod(temporary.descriptor, mode) != 0)
        return failure(AtomicWriteError::Step::createTemporary, errno);
    if (!writeAll(temporary.descriptor, data))
        return failure(AtomicWriteError::Step::write, errno);
    if (::fsync(temporary.descriptor) != 0)
        return failure(AtomicWriteError::Step::sync, errno);
    const int descriptor = temporary.descriptor;
    temporary.descriptor = -1;
    if (::close(descriptor) != 0)
        return failure(AtomicWriteError::Step::write, errno);
    if (::rename(temporary.path.c_str(), file.c_str()) != 0)
        return failure(AtomicWriteError::Step::replace, errno);
    temporary.renamed = true;

    // The rename itself should survive a power cut too; failing to flush the folder loses nothing.
    const int folderDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderDescriptor >= 0) {
        ::fsync(folderDescriptor);
        ::close(folderDescriptor);
    }
    return {};
}

} // namespace velmora
