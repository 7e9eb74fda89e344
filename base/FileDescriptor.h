#pragma once

#include <QtGlobal>

#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace wingbell {

/// An open file descriptor, closed with its owner; or none.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    /// Takes over `descriptor`; -1 is none.
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        FileDescriptor taken(std::move(other));
        std::swap(m_descriptor, taken.m_descriptor);
        return *this;
    }
    Q_DISABLE_COPY(FileDescriptor)
    ~FileDescriptor() { (void)close(); }

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int get() const { return m_descriptor; }

    /// Gives it to another owner.
    [[nodiscard]] int release() { return std::exchange(m_descriptor, -1); }

    /// Closes it early. False when the system reports that earlier writes were lost.
    [[nodiscard]] bool close()
    {
        const int descriptor = std::exchange(m_descriptor, -1);
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_descriptor = -1;
};

/// Opens the null device as standard input, output or error where one of them is closed, so that
/// no file opened later takes its number and gets our output. To be called first of all.
inline void ensureStandardDescriptorsOpen()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            // Takes the lowest free number, which is this one.
            (void)::open("/dev/null", O_RDWR);
        }
    }
}

} // namespace wingbell
