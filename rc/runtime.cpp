// The little of the C++ runtime that rc needs, over the C library alone.
//
// Strings and allocation would otherwise bring in the exception machinery, many times the size of all
// services together. Out of memory and impossible string operations end the program.

#include <cstdlib>
#include <new>

// The names are the C++ library's: it calls them.
// NOLINTBEGIN(cert-dcl58-cpp,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
namespace std {

__attribute__((__noreturn__)) void __throw_length_error(const char *)
{
    abort();
}

__attribute__((__noreturn__)) void __throw_logic_error(const char *)
{
    abort();
}

__attribute__((__noreturn__)) void __throw_out_of_range(const char *)
{
    abort();
}

__attribute__((__noreturn__)) void __throw_out_of_range_fmt(const char *, ...)
{
    abort();
}

__attribute__((__noreturn__)) void __throw_bad_alloc()
{
    abort();
}

__attribute__((__noreturn__)) void __throw_bad_array_new_length()
{
    abort();
}

// Called only where the library's own assertions are switched on.
__attribute__((__noreturn__)) void __glibcxx_assert_fail(const char *, int, const char *,
                                                         const char *) noexcept;
void __glibcxx_assert_fail(const char *, int, const char *, const char *) noexcept
{
    abort();
}

const nothrow_t nothrow{};

}  // namespace std
// NOLINTEND(cert-dcl58-cpp,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

void *operator new(size_t size)
{
    void *memory = malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        abort();
    }
    return memory;
}

void *operator new[](size_t size)
{
    return operator new(size);
}

void *operator new(size_t size, const std::nothrow_t &) noexcept
{
    return malloc(size != 0 ? size : 1);
}

void *operator new[](size_t size, const std::nothrow_t &) noexcept
{
    return malloc(size != 0 ? size : 1);
}

void operator delete(void *memory) noexcept
{
    free(memory);
}

void operator delete[](void *memory) noexcept
{
    free(memory);
}

void operator delete(void *memory, size_t) noexcept
{
    free(memory);
}

void operator delete[](void *memory, size_t) noexcept
{
    free(memory);
}
