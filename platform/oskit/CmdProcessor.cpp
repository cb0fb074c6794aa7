#include "oskit/CmdProcessor.h"

#include <iostream>

namespace oskit {

template <>
CmdProcessor* SingletonDll<CmdProcessor>::s_pInstance = nullptr;

namespace {

// Blank-separated words; a double-quoted stretch belongs to one word, quotes removed.
std::vector<std::string> splitWords(const std::string& line)
{
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (char c : line) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == ' ' || c == '\t' || c == '\r' || c == '\n')) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words.push_back(word);
    return words;
}

} // namespace

std::string CmdParameters::argument(unsigned index) const
{
    return index < m_arguments.size() ? m_arguments[index] : std::string();
}

CmdRegister::~CmdRegister() = default;

CmdProcessor::CmdProcessor() = default;

CmdProcessor::~CmdProcessor() = default;

void CmdProcessor::registerCmd(CmdRegister* record)
{
    if (record == nullptr) return;
    std::unique_ptr<CmdRegister> owned(record);
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    m_commands[owned->getName()] = std::move(owned);
}

void CmdProcessor::unregisterObject(const void* object)
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    for (auto it = m_commands.begin(); it != m_commands.end();) {
        if (it->second->owner() == object) {
            it = m_commands.erase(it);
        } else {
            ++it;
        }
    }
}

bool CmdProcessor::execute(const std::string& line)
{
    std::vector<std::string> words = splitWords(line);
    if (words.empty()) return false;
    const std::string name = words.front();
    words.erase(words.begin());
    CmdParameters parameters(std::move(words));
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    auto it = m_commands.find(name);
    if (it == m_commands.end()) {
        std::cout << "Unknown command: " << name << std::endl;
        return false;
    }
    return it->second->call(parameters);
}

std::vector<std::string> CmdProcessor::commandNames() const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    std::vector<std::string> names;
    for (const auto& entry : m_commands) names.push_back(entry.first);
    return names;
}

std::string CmdProcessor::help(const std::string& name) const
{
    std::lock_guard<std::recursive_mutex> lock(m_mutex);
    auto it = m_commands.find(name);
    return it == m_commands.end() ? std::string() : it->second->getHelp();
}

} // namespace oskit
