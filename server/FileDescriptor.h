#pragma once

#include <QtGlobal>

#include <unistd.h>
#include <utility>

namespace wingbell {

/// An open file descriptor, closed with its owner; or none.
class FileDescriptor
{
public:
    FileDescriptor() = default;
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
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    Q_DISABLE_COPY(FileDescriptor)
    ~FileDescriptor()
    {
        if (isOpen()) {
            ::close(m_descriptor);
        }
    }

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int get() const { return m_descriptor; }

private:
    int m_descriptor = -1;
};

} // namespace wingbell
