// Tokenizer and recursive-descent parser of the classic scene encoding.
// Tokens are the four brackets, quoted strings, and words (names and numbers);
// commas and "#" comments are white space. Recursion is bounded by depth.
#include "io/vrml_classic_parser.h"

#include <charconv>
#include <cstdlib>
#include <map>

namespace vekmesh {

const SceneField* SceneNode::field(std::string_view name) const {
  for (const auto& [key, value] : fields)
    if (key == name) return &value;
  return nullptr;
}

namespace {

enum class TokenKind { kEnd, kOpenBrace, kCloseBrace, kOpenBracket, kCloseBracket, kString, kWord };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string_view text;  // the word, or the string between its quotes
};

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  Token next() {
    Token t = peek();
    pos_ = after_;
    has_peek_ = false;
    return t;
  }

  const Token& peek() {
    if (!has_peek_) {
      size_t p = pos_;
      peeked_ = scan(p);
      after_ = p;
      has_peek_ = true;
    }
    return peeked_;
  }

  // The token after the next one, without consuming either.
  Token peekSecond() {
    peek();
    size_t p = after_;
    return scan(p);
  }

  // Strings keep their escapes; the walk only compares names and urls.
 private:
  Token scan(size_t& p) const {
    for (;;) {
      while (p < text_.size() && (isSpace(text_[p]) || text_[p] == ',')) ++p;
      if (p < text_.size() && text_[p] == '#') {
        while (p < text_.size() && text_[p] != '\n' && text_[p] != '\r') ++p;
        continue;
      }
      break;
    }
    if (p >= text_.size()) return {};
    const char c = text_[p];
    const auto single = [&](TokenKind kind) {
      ++p;
      return Token{kind, text_.substr(p - 1, 1)};
    };
    switch (c) {
      case '{':
        return single(TokenKind::kOpenBrace);
      case '}':
        return single(TokenKind::kCloseBrace);
      case '[':
        return single(TokenKind::kOpenBracket);
      case ']':
        return single(TokenKind::kCloseBracket);
      case '"': {
        const size_t start = ++p;
        while (p < text_.size() && text_[p] != '"')
          p += (text_[p] == '\\' && p + 1 < text_.size()) ? 2 : 1;
        const Token t{TokenKind::kString, text_.substr(start, std::min(p, text_.size()) - start)};
        if (p < text_.size()) ++p;
        return t;
      }
      default:
        break;
    }
    const size_t start = p;
    while (p < text_.size() && !isSpace(text_[p]) && !isDelimiter(text_[p])) ++p;
    if (p == start) ++p;  // a lone delimiter such as '(' or '|'
    return {TokenKind::kWord, text_.substr(start, p - start)};
  }

  static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
  static bool isDelimiter(char c) {
    return c == '{' || c == '}' || c == '[' || c == ']' || c == '"' || c == ',' || c == '#' ||
           c == '(' || c == ')' || c == '|';
  }

  std::string_view text_;
  size_t pos_ = 0, after_ = 0;
  Token peeked_;
  bool has_peek_ = false;
};

bool startsNumber(std::string_view w) {
  if (w.empty()) return false;
  const char c = w[0];
  return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
}

// A number word: decimal or hexadecimal (colours of SFImage pixels).
bool parseWordNumber(std::string_view w, double& value) {
  if (w.size() > 2 && w[0] == '0' && (w[1] == 'x' || w[1] == 'X')) {
    uint64_t v = 0;
    const auto r = std::from_chars(w.data() + 2, w.data() + w.size(), v, 16);
    value = double(v);
    return r.ec == std::errc() && r.ptr == w.data() + w.size();
  }
  if (w[0] == '+') w.remove_prefix(1);
  const auto r = std::from_chars(w.data(), w.data() + w.size(), value);
  return (r.ec == std::errc() || r.ec == std::errc::result_out_of_range) &&
         r.ptr == w.data() + w.size();
}

class ClassicParser {
 public:
  explicit ClassicParser(std::string_view text) : tokens_(text) {}

  SceneDocument run() {
    while (tokens_.peek().kind != TokenKind::kEnd && !stopped_) {
      const Token t = tokens_.peek();
      if (t.kind != TokenKind::kWord) {
        tokens_.next();  // stray bracket: unbalanced text
        continue;
      }
      statement(doc_.roots, 0);
    }
    return std::move(doc_);
  }

  void setVrml1(bool v) { doc_.vrml1 = v; }

 private:
  // A statement in a list of nodes: a skipped declaration or a node.
  void statement(std::vector<SceneNodePtr>& into, int depth) {
    const std::string_view w = tokens_.peek().text;
    if (w == "PROTO" || w == "EXTERNPROTO") {
      tokens_.next();
      const Token name = tokens_.next();
      doc_.notes.push_back(std::string(w) + " " + std::string(name.text) + " skipped");
      skipGroup(depth);  // the interface
      if (w == "PROTO")
        skipGroup(depth);  // the body
      else
        skipValueOfStrings();
      return;
    }
    if (w == "ROUTE") return skipWords(4);
    if (w == "IMPORT") return skipWords(4);  // IMPORT a.b AS c
    if (w == "EXPORT") return skipWords(4);  // EXPORT a AS b
    if (w == "PROFILE" || w == "COMPONENT") return skipWords(2);
    if (w == "META") return skipWords(3);
    if (w == "UNIT") return skipWords(4);
    SceneNodePtr node = parseNode(depth);
    if (node) into.push_back(std::move(node));
  }

  void skipWords(int count) {
    for (int i = 0; i < count && tokens_.peek().kind != TokenKind::kEnd; ++i) {
      if (i > 0 && tokens_.peek().kind != TokenKind::kWord &&
          tokens_.peek().kind != TokenKind::kString)
        return;
      tokens_.next();
    }
  }

  // Skips one bracketed group ({...} or [...]) if one comes next.
  void skipGroup(int depth) {
    const TokenKind open = tokens_.peek().kind;
    if (open != TokenKind::kOpenBrace && open != TokenKind::kOpenBracket) return;
    tokens_.next();
    int level = 1;
    (void)depth;
    while (level > 0) {
      const Token t = tokens_.next();
      if (t.kind == TokenKind::kEnd) return;
      if (t.kind == TokenKind::kOpenBrace || t.kind == TokenKind::kOpenBracket) ++level;
      if (t.kind == TokenKind::kCloseBrace || t.kind == TokenKind::kCloseBracket) --level;
    }
  }

  void skipValueOfStrings() {
    if (tokens_.peek().kind == TokenKind::kString)
      tokens_.next();
    else
      skipGroup(0);
  }

  // DEF name Node, USE name, NULL, or Type { body }.
  SceneNodePtr parseNode(int depth) {
    const Token first = tokens_.next();
    if (first.text == "NULL") return nullptr;
    if (first.text == "USE") {
      const Token name = tokens_.next();
      const auto it = defs_.find(std::string(name.text));
      return it == defs_.end() ? nullptr : it->second;
    }
    if (first.text == "DEF") {
      const Token name = tokens_.next();
      if (tokens_.peek().kind != TokenKind::kWord) return nullptr;
      SceneNodePtr node = parseNode(depth);
      if (node) defs_[std::string(name.text)] = node;
      return node;
    }
    if (tokens_.peek().kind != TokenKind::kOpenBrace) return nullptr;  // not a node
    tokens_.next();
    auto node = std::make_shared<SceneNode>();
    node->type = std::string(first.text);
    if (depth >= kMaxSceneDepth) {
      stopped_ = true;
      return nullptr;
    }
    body(*node, depth + 1);
    return node;
  }

  void body(SceneNode& node, int depth) {
    for (;;) {
      if (stopped_) return;
      const Token t = tokens_.peek();
      if (t.kind == TokenKind::kEnd) return;
      if (t.kind == TokenKind::kCloseBrace) {
        tokens_.next();
        return;
      }
      if (t.kind != TokenKind::kWord) {
        tokens_.next();  // stray token
        continue;
      }
      const std::string_view w = t.text;
      if (w == "DEF" || w == "USE" || w == "PROTO" || w == "EXTERNPROTO" || w == "ROUTE" ||
          tokens_.peekSecond().kind == TokenKind::kOpenBrace) {
        statement(node.children, depth);  // a child without a field name
        continue;
      }
      tokens_.next();
      SceneField value;
      fieldValue(value, depth);
      node.fields.emplace_back(std::string(w), std::move(value));
    }
  }

  // One value: a bracketed list, a run of numbers, a string, a node or a word.
  void fieldValue(SceneField& value, int depth) {
    const Token t = tokens_.peek();
    switch (t.kind) {
      case TokenKind::kOpenBracket:
        tokens_.next();
        while (!stopped_) {
          const Token item = tokens_.peek();
          if (item.kind == TokenKind::kEnd) return;
          if (item.kind == TokenKind::kCloseBracket) {
            tokens_.next();
            return;
          }
          if (item.kind == TokenKind::kOpenBracket || item.kind == TokenKind::kOpenBrace ||
              item.kind == TokenKind::kCloseBrace) {
            if (item.kind == TokenKind::kCloseBrace) return;  // unbalanced: the node ends
            skipGroup(depth);
            continue;
          }
          item_(value, depth);
        }
        return;
      case TokenKind::kString:
        value.words.emplace_back(tokens_.next().text);
        return;
      case TokenKind::kWord:
        if (startsNumber(t.text)) {
          double v;
          // An unquoted VRML 1.0 string may start like a number
          // ("../textures/wood.jpg"): a first word that is none is a word.
          if (!parseWordNumber(t.text, v)) {
            value.words.emplace_back(tokens_.next().text);
            return;
          }
          while (tokens_.peek().kind == TokenKind::kWord && startsNumber(tokens_.peek().text)) {
            if (parseWordNumber(tokens_.next().text, v)) value.numbers.push_back(v);
          }
          return;
        }
        if (t.text == "(") {  // a VRML 1.0 bit mask: ( A | B )
          tokens_.next();
          while (tokens_.peek().kind == TokenKind::kWord && tokens_.peek().text != ")") {
            const Token w = tokens_.next();
            if (w.text != "|") value.words.emplace_back(w.text);
          }
          if (tokens_.peek().text == ")") tokens_.next();
          return;
        }
        item_(value, depth);
        return;
      default:
        return;  // a brace: the field has no value
    }
  }

  // One list item or single value that is not a number run.
  void item_(SceneField& value, int depth) {
    const Token t = tokens_.peek();
    if (t.kind == TokenKind::kString) {
      value.words.emplace_back(tokens_.next().text);
      return;
    }
    if (startsNumber(t.text)) {
      double v;
      if (parseWordNumber(tokens_.next().text, v)) value.numbers.push_back(v);
      return;
    }
    if (t.text == "TRUE" || t.text == "FALSE") {
      value.numbers.push_back(tokens_.next().text == "TRUE" ? 1.0 : 0.0);
      return;
    }
    if (t.text == "DEF" || t.text == "USE" || t.text == "NULL" ||
        tokens_.peekSecond().kind == TokenKind::kOpenBrace) {
      SceneNodePtr node = parseNode(depth);
      if (node) value.nodes.push_back(std::move(node));
      return;
    }
    value.words.emplace_back(tokens_.next().text);  // an enumeration word
  }

  Tokenizer tokens_;
  SceneDocument doc_;
  std::map<std::string, SceneNodePtr, std::less<>> defs_;
  bool stopped_ = false;
};

}  // namespace

SceneDocument parseClassicScene(std::string_view text) {
  ClassicParser parser(text);
  parser.setVrml1(text.substr(0, 16) == "#VRML V1.0 ascii");
  return parser.run();
}

}  // namespace vekmesh
