#include <orvel/Compute.h>

namespace orvel::compute {

void EvaluationParameters::setGlobal(const char* in_name, const void* in_value, Create in_create,
                                     Copy in_copy, Destroy in_destroy)
{
    std::unique_ptr<void, Destroy> value(in_create(), in_destroy);
    in_copy(value.get(), in_value);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_globals.insert_or_assign(in_name, Global{in_create.type, std::move(value)});
}

bool EvaluationParameters::getGlobal(const char* in_name, void* out_value, In in_in,
                                     Copy in_copy) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_globals.find(in_name);
    if (found == m_globals.end() || found->second.type != in_in.type) {
        return false;
    }
    in_copy(out_value, in_in(found->second.value.get()));
    return true;
}

std::shared_ptr<EvaluationParameters> createEvaluationParameters()
{
    return std::make_shared<EvaluationParameters>();
}

}  // namespace orvel::compute
