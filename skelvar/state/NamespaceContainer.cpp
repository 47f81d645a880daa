#include <skelvar/state/NamespaceContainer.h>

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/base/UniqueName.h>

#include <stdexcept>

namespace Skelvar::NS {

namespace {

constexpr unsigned short kCurrentVersion = 1;

}  // namespace

const std::string& NamespaceContainer::addName(const std::string& in_name)
{
    std::string name;
    UniqueSetName::create(m_names, in_name, name);
    return *m_names.insert(name).first;
}

bool NamespaceContainer::removeName(const std::string& in_name)
{
    return m_names.erase(in_name) == 1;
}

const std::string& NamespaceContainer::updateName(const std::string& in_old,
                                                  const std::string& in_new)
{
    static const std::string& s_none = *new std::string;
    return removeName(in_old) ? addName(in_new) : s_none;
}

bool NamespaceContainer::hasName(const std::string& in_name) const
{
    return m_names.contains(in_name);
}

bool NamespaceContainer::save(OutputStream& io_stream) const
{
    if (!io_stream.write(kCurrentVersion) ||
        !io_stream.write(static_cast<unsigned long long>(m_names.size()))) {
        return false;
    }
    for (const std::string& name : m_names) {
        if (!io_stream.write(name)) {
            return false;
        }
    }
    return true;
}

bool NamespaceContainer::load(InputStream& io_stream)
{
    unsigned short version = 0;
    unsigned long long count = 0;
    if (!io_stream.read(version) || version != kCurrentVersion || !io_stream.read(count)) {
        return false;
    }
    auto names = m_names;
    try {
        for (unsigned long long n = 0; n < count; ++n) {
            std::string name;
            std::string unique;
            if (!io_stream.read(name)) {
                return false;
            }
            UniqueSetName::create(names, name, unique);
            names.insert(unique);
        }
    } catch (const std::out_of_range&) {  // a number that no valid set holds beside another
        return false;
    }
    m_names.swap(names);
    return true;
}

bool NamespaceContainer::dump(OutputStream& io_stream) const
{
    if (!io_stream.write(true)) {
        return false;
    }
    for (const std::string& name : m_names) {
        if (!io_stream.write(name + "\n")) {
            return false;
        }
    }
    return io_stream.write(true);
}

}  // namespace Skelvar::NS
