#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orq::exchange {

/// An element of a VTK XML file, without the text of its arrays.
struct VtkElement {
    std::string tag;
    std::map<std::string, std::string, std::less<>> attributes;
    std::vector<VtkElement> children;
    int line = 0;
    std::size_t textBegin = 0;  ///< in the file's bytes
    std::size_t textEnd = 0;

    /// Empty when there is none.
    std::string_view Attribute(std::string_view name) const;
    std::string_view Name() const { return Attribute("Name"); }
    /// The first child of a tag; null when there is none.
    const VtkElement* Child(std::string_view childTag) const;
};

/// A VTK XML file: its elements, and the values of its arrays in all the encodings of the format:
/// ASCII, base64 inline, appended raw or in base64, each plain or compressed by zlib, of either byte
/// order.
///
/// Holds the file's bytes, and decodes an array when it is read. Every failure is an
/// ORQExcImportError that names the file, the array and its line. A claimed size is checked against
/// the file's bytes before anything is allocated by it.
class VtkXmlFile {
  public:
    /// Reads and parses the file. Throws when it is no VTK XML file.
    explicit VtkXmlFile(const std::filesystem::path& path);

    const std::filesystem::path& Path() const { return m_path; }
    /// The element "VTKFile".
    const VtkElement& Root() const { return m_root; }

    /// The values of a <DataArray> of numbers, widened.
    std::vector<double> Reals(const VtkElement& array) const;
    /// Throws for an array of floating-point numbers.
    std::vector<std::int64_t> Integers(const VtkElement& array) const;
    /// The texts of an array of type "String".
    std::vector<std::string> Texts(const VtkElement& array) const;

    /// An attribute that must be a whole number and at least 0.
    std::int64_t Count(const VtkElement& element, std::string_view attribute) const;

    [[noreturn]] void Fail(const VtkElement& element, std::string_view message) const;

  private:
    class Parser;

    template <class Value>
    std::vector<Value> Numbers(const VtkElement& array) const;
    template <class Value>
    std::vector<Value> AsciiNumbers(const VtkElement& array) const;
    std::string BytesOf(const VtkElement& array) const;
    std::string RawBytes(const VtkElement& array, std::string_view stored) const;
    std::string Base64Bytes(const VtkElement& array, std::string_view stored) const;
    std::string Inflated(const VtkElement& array, std::string_view header,
                         std::string_view blocks) const;
    std::string_view Appended(const VtkElement& array) const;
    std::uint64_t HeaderWord(std::string_view bytes, std::size_t place) const;
    std::uint64_t CompressedHeaderBytes(const VtkElement& array, std::string_view firstWord) const;

    std::filesystem::path m_path;
    std::string m_bytes;
    VtkElement m_root;
    std::size_t m_appendedBegin = 0;  // behind the underscore; 0 without appended data
    bool m_isAppendedRaw = false;
    bool m_isCompressed = false;
    bool m_isSwapped = false;
    std::size_t m_headerWordBytes = 4;
};

}  // namespace orq::exchange
