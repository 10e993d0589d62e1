#include "Zel/System/Commons/Xml/XmlReader.h"

#include "Zel/System/Commons/Xml/XmlConvert.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <expat.h>

#include <algorithm>
#include <deque>
#include <exception>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace Zel::System::Commons::Xml
{

using Core::Format;

namespace
{

enum class TokenKind
{
    Start,
    End,
    Text,
    EndOfDocument
};

using Attributes = std::vector<std::pair<String, String>>;

/// One piece of the document. `text` is the element's name, or the text itself.
struct Token
{
    TokenKind kind;
    String text;
    Attributes attributes;
    std::size_t line;
};

struct Element
{
    String name;
    Attributes attributes;
};

[[nodiscard]] bool IsWhiteSpace(const String& text)
{
    return text.find_first_not_of(" \t\r\n") == String::npos;
}

} // namespace

/// Runs expat from one tag to the next: the handlers queue tokens and suspend the parser at each tag. An
/// empty element's end is queued with its start, since expat reports both before it stops.
struct XmlReader::Parser
{
    Parser(String document, String fileName);

    /// The token that comes next; it stays next until `Take`.
    [[nodiscard]] const Token& Peek();
    Token Take();
    void SkipWhiteSpace();

    [[noreturn]] void Fail(std::size_t failedLine, const String& reason) const;
    [[noreturn]] void FailUnexpected(const Token& token) const;

    struct Deleter
    {
        void operator()(XML_Parser freed) const noexcept { XML_ParserFree(freed); }
    };

    const String document;
    const String fileName;
    std::unique_ptr<std::remove_pointer_t<XML_Parser>, Deleter> expat;
    std::vector<Element> openElements;
    std::size_t line = 1;

private:
    static void XMLCALL OnStart(void* self, const XML_Char* name, const XML_Char** attributes);
    static void XMLCALL OnEnd(void* self, const XML_Char* name);
    static void XMLCALL OnText(void* self, const XML_Char* text, int length);
    static void XMLCALL OnDocumentType(void* self, const XML_Char* name, const XML_Char* systemId,
                                       const XML_Char* publicId, int hasInternalSubset);

    /// Calls a handler's body. Its exception ends the parser and is kept, since none may pass through expat;
    /// from then on every read throws it.
    template <typename Body>
    void Handle(Body body) noexcept;

    void Continue();
    void Push(TokenKind kind, String text, Attributes attributes = {});
    void Suspend();
    [[nodiscard]] std::size_t GetParserLine() const noexcept;

    std::deque<Token> tokens;
    std::size_t depth = 0;
    bool started = false;
    bool suspended = false;
    std::exception_ptr failure;
};

XmlReader::Parser::Parser(String document, String fileName)
    : document(std::move(document)), fileName(std::move(fileName)), expat(XML_ParserCreate(nullptr))
{
    if (!expat)
    {
        throw std::bad_alloc();
    }
    if (this->document.size() > MaximumSize)
    {
        Fail(1, Format("the document has more than {0} bytes", MaximumSize));
    }
    XML_SetUserData(expat.get(), this);
    XML_SetElementHandler(expat.get(), &OnStart, &OnEnd);
    XML_SetCharacterDataHandler(expat.get(), &OnText);
    XML_SetStartDoctypeDeclHandler(expat.get(), &OnDocumentType);
}

const Token& XmlReader::Parser::Peek()
{
    if (tokens.empty())
    {
        // It stops behind a tag or at the end, so that a text before it is complete.
        Continue();
    }
    line = tokens.front().line;
    return tokens.front();
}

Token XmlReader::Parser::Take()
{
    static_cast<void>(Peek());
    Token token = std::move(tokens.front());
    if (token.kind != TokenKind::EndOfDocument)
    {
        tokens.pop_front();
    }
    return token;
}

void XmlReader::Parser::SkipWhiteSpace()
{
    if (Peek().kind == TokenKind::Text && IsWhiteSpace(Peek().text))
    {
        static_cast<void>(Take());
    }
}

void XmlReader::Parser::Fail(std::size_t failedLine, const String& reason) const
{
    throw XmlException(Format("{0}:{1}: {2}", fileName, failedLine, reason));
}

void XmlReader::Parser::FailUnexpected(const Token& token) const
{
    switch (token.kind)
    {
    case TokenKind::Start:
        Fail(token.line, Format("unexpected element '{0}'", token.text));
    case TokenKind::End:
        Fail(token.line, Format("unexpected end of element '{0}'", token.text));
    case TokenKind::Text:
        Fail(token.line, "unexpected text");
    case TokenKind::EndOfDocument:
        Fail(token.line, "unexpected end of the document");
    }
    Fail(token.line, "unexpected content");
}

void XmlReader::Parser::Continue()
{
    if (failure)
    {
        std::rethrow_exception(failure);
    }
    suspended = false;
    const XML_Status status =
        started ? XML_ResumeParser(expat.get())
                : XML_Parse(expat.get(), document.data(), static_cast<int>(document.size()), XML_TRUE);
    started = true;
    if (status == XML_STATUS_ERROR && !failure)
    {
        line = GetParserLine();
        Handle([this] { Fail(line, XML_ErrorString(XML_GetErrorCode(expat.get()))); });
    }
    if (failure)
    {
        std::rethrow_exception(failure);
    }
    if (status == XML_STATUS_OK)
    {
        Push(TokenKind::EndOfDocument, String());
    }
}

template <typename Body>
void XmlReader::Parser::Handle(Body body) noexcept
{
    // An ended parser may still call handlers for the tag that it is in.
    if (failure)
    {
        return;
    }
    try
    {
        body();
    }
    catch (...)
    {
        failure = std::current_exception();
        static_cast<void>(XML_StopParser(expat.get(), XML_FALSE));
    }
}

void XmlReader::Parser::OnStart(void* self, const XML_Char* name, const XML_Char** attributes)
{
    auto& parser = *static_cast<Parser*>(self);
    parser.Handle(
        [&]
        {
            if (++parser.depth > MaximumDepth)
            {
                parser.line = parser.GetParserLine();
                parser.Fail(parser.line, Format("elements are nested deeper than {0}", MaximumDepth));
            }
            Attributes values;
            for (const XML_Char** attribute = attributes; *attribute != nullptr; attribute += 2)
            {
                values.emplace_back(attribute[0], attribute[1]);
            }
            parser.Push(TokenKind::Start, name, std::move(values));
            parser.Suspend();
        });
}

void XmlReader::Parser::OnEnd(void* self, const XML_Char* name)
{
    auto& parser = *static_cast<Parser*>(self);
    parser.Handle(
        [&]
        {
            --parser.depth;
            parser.Push(TokenKind::End, name);
            parser.Suspend();
        });
}

void XmlReader::Parser::OnText(void* self, const XML_Char* text, int length)
{
    auto& parser = *static_cast<Parser*>(self);
    parser.Handle(
        [&]
        {
            const auto size = static_cast<std::size_t>(length);
            if (!parser.tokens.empty() && parser.tokens.back().kind == TokenKind::Text)
            {
                parser.tokens.back().text.append(text, size);
            }
            else
            {
                parser.Push(TokenKind::Text, String(text, size));
            }
        });
}

void XmlReader::Parser::OnDocumentType(void* self, const XML_Char* /*name*/, const XML_Char* /*systemId*/,
                                       const XML_Char* /*publicId*/, int /*hasInternalSubset*/)
{
    auto& parser = *static_cast<Parser*>(self);
    parser.Handle(
        [&]
        {
            parser.line = parser.GetParserLine();
            parser.Fail(parser.line, "a DOCTYPE is not allowed");
        });
}

void XmlReader::Parser::Push(TokenKind kind, String text, Attributes attributes)
{
    tokens.push_back(Token{kind, std::move(text), std::move(attributes), GetParserLine()});
}

void XmlReader::Parser::Suspend()
{
    if (!suspended)
    {
        suspended = XML_StopParser(expat.get(), XML_TRUE) == XML_STATUS_OK;
    }
}

std::size_t XmlReader::Parser::GetParserLine() const noexcept
{
    return XML_GetCurrentLineNumber(expat.get());
}

XmlReader::XmlReader(String document, String fileName)
    : parser(std::make_unique<Parser>(std::move(document), std::move(fileName)))
{
}

XmlReader::~XmlReader() = default;

bool XmlReader::TryReadStartElement(String& name, bool skipText)
{
    if (parser->Peek().kind == TokenKind::Text)
    {
        const Token text = parser->Take();
        if (!skipText && !IsWhiteSpace(text.text))
        {
            parser->FailUnexpected(text);
        }
    }
    if (parser->Peek().kind != TokenKind::Start)
    {
        return false;
    }
    Token start = parser->Take();
    name = start.text;
    parser->openElements.push_back(Element{std::move(start.text), std::move(start.attributes)});
    return true;
}

String XmlReader::ReadElementContent()
{
    String content;
    if (parser->Peek().kind == TokenKind::Text)
    {
        content = parser->Take().text;
    }
    if (parser->Peek().kind != TokenKind::End)
    {
        parser->FailUnexpected(parser->Peek());
    }
    return content;
}

void XmlReader::SkipElementContent()
{
    std::size_t open = 0;
    while (open > 0 || parser->Peek().kind != TokenKind::End)
    {
        const Token token = parser->Take();
        if (token.kind == TokenKind::EndOfDocument)
        {
            parser->FailUnexpected(token);
        }
        open += token.kind == TokenKind::Start ? 1 : 0;
        open -= token.kind == TokenKind::End ? 1 : 0;
    }
}

void XmlReader::ReadEndElement()
{
    parser->SkipWhiteSpace();
    if (parser->Peek().kind != TokenKind::End || parser->openElements.empty())
    {
        parser->FailUnexpected(parser->Peek());
    }
    static_cast<void>(parser->Take());
    parser->openElements.pop_back();
}

void XmlReader::ReadEndDocument()
{
    parser->SkipWhiteSpace();
    if (parser->Peek().kind != TokenKind::EndOfDocument)
    {
        parser->FailUnexpected(parser->Peek());
    }
}

template <>
bool XmlReader::TryGetAttributeValue<String>(const char* name, String& value) const
{
    if (parser->openElements.empty())
    {
        return false;
    }
    const Attributes& attributes = parser->openElements.back().attributes;
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& attribute) { return attribute.first == name; });
    if (found == attributes.end())
    {
        return false;
    }
    value = found->second;
    return true;
}

template <>
bool XmlReader::TryGetAttributeValue<bool>(const char* name, bool& value) const
{
    String text;
    if (!TryGetAttributeValue(name, text))
    {
        return false;
    }
    value = XmlConvert::ToBoolean(text);
    return true;
}

const String& XmlReader::GetFileName() const noexcept
{
    return parser->fileName;
}

std::size_t XmlReader::GetLine() const noexcept
{
    return parser->line;
}

} // namespace Zel::System::Commons::Xml
