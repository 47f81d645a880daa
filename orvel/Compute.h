#pragma once

#include <orvel/Api.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace orvel::compute {

namespace Detail {

/// Its address tells a type from all others, across the libraries of a process.
template <typename T>
ORVEL_API inline char kTypeIdentity = 0;

template <typename T>
void* create()
{
    return new T();
}

template <typename T>
const void* in(const void* in_stored)
{
    return in_stored;
}

}  // namespace Detail

/// Makes a value of a type on the heap, and says which type it is.
struct Create {
    void* (*function)();
    const void* type;
    void* operator()() const { return function(); }
};

/// Gives the value behind what is stored, and says which type it reads.
struct In {
    const void* (*function)(const void* in_stored);
    const void* type;
    const void* operator()(const void* in_stored) const { return function(in_stored); }
};

using Copy = void (*)(void* out_value, const void* in_value);
using Destroy = void (*)(void* in_value);

/// How a value of type `T` is made, copied, destroyed and read by code that does not know `T`.
template <typename T>
inline constexpr Create wrapCreate{&Detail::create<T>, &Detail::kTypeIdentity<T>};

template <typename T>
inline constexpr In wrapIn{&Detail::in<T>, &Detail::kTypeIdentity<T>};

template <typename T>
void wrapCopy(void* out_value, const void* in_value)
{
    *static_cast<T*>(out_value) = *static_cast<const T*>(in_value);
}

template <typename T>
void wrapDestroy(void* in_value)
{
    delete static_cast<T*>(in_value);
}

/// The graph's named globals. Owns copies of the values. Any thread may set and get.
class ORVEL_API EvaluationParameters {
public:
    /// Stores a copy of the value under the name; a value already there is destroyed, whatever its
    /// type.
    void setGlobal(const char* in_name, const void* in_value, Create in_create, Copy in_copy,
                   Destroy in_destroy);

    /// Copies the global out. False, and `out_value` stays as it was, for an unknown name and for a
    /// value of another type.
    bool getGlobal(const char* in_name, void* out_value, In in_in, Copy in_copy) const;

private:
    struct Global {
        const void* type;
        std::unique_ptr<void, Destroy> value;
    };

    mutable std::mutex m_mutex;
    std::map<std::string, Global> m_globals;  ///< guarded by m_mutex
};

/// A new store without globals.
ORVEL_API std::shared_ptr<EvaluationParameters> createEvaluationParameters();

}  // namespace orvel::compute
