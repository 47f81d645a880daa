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

    // What the events are told apart by. A host that registers categories of its own sets them.
    static int s_category_solvers;   ///< graph nodes
    static int s_category_parallel;  ///< parallel loops
    static int s_category_devonly;   ///< of interest to this library's developers
    static int s_color_solvers;      ///< 0xRRGGBB, as all colours
    static int s_color_parallel;
    static int s_color_devonly;

    /// One event, from its construction to the end of its scope, also when an exception passes.
    class SKELVAR_API Scope {
    public:
        /// An event of the parallel loops.
        explicit Scope(const char* in_name);
        Scope(int in_category, int in_color, const char* in_name);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        void* m_event = nullptr;  ///< what the begin hook gave; null is a value like others
        bool m_begun = false;
    };
};

}  // namespace Skelvar
