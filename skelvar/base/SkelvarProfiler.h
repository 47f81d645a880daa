#pragma once

#include <skelvar/base/Api.h>

namespace Skelvar {

/// Hooks of a host's profiler around bulk work. A host sets the pointers before work starts; a
/// null hook means no profiling. Any thread may run events.
class SKELVAR_API SkelvarProfiler {
public:
    using EventBegin = void* (*)(int in_category, int in_color, const char* in_name, int in_flags);
    using EventEnd = void (*)(void* in_event);
    using AddCategory = int (*)(const char* in_name);

    static EventBegin eventBeginFunc;
    static EventEnd eventEndFunc;
    static AddCategory addCategoryFunc;

    static int s_category_core;
    static int s_category_solvers;
    static int s_category_io;
    static int s_color_core;
    static int s_color_solvers;
    static int s_color_io;

    /// One event, from its construction to the end of its scope, also when an exception passes.
    class SKELVAR_API Scope {
    public:
        explicit Scope(const char* in_name);
        Scope(int in_category, int in_color, const char* in_name);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        void* m_event = nullptr;
    };
};

}  // namespace Skelvar
