#include "plan.h"

#include <cctype>
#include <numeric>
#include <stdexcept>

namespace qrbgen::plans {

std::string PlanNode::str() const {
    switch (kind) {
        case Leaf:
            return std::to_string(n) + (sumDiff ? "s" : "") + (realRader ? "r" : "");
        case Rader:
            return "R" + std::to_string(n) + (halves.empty() ? "" : "[" + halves + "]");
        case Chirp:
            return "chirp " + std::to_string(n);
        case CT:
        case GT:
            return std::string(kind == CT ? "C(" : "G(") + kids[0].str() + "," + kids[1].str() + ")";
    }
    return "?";
}

namespace {

class Parser {
public:
    explicit Parser(const std::string& s) : s_(s) {}

    PlanNode parse() {
        PlanNode p = node();
        skipSpace();
        if (pos_ != s_.size()) fail("trailing characters");
        return p;
    }

private:
    [[noreturn]] void fail(const std::string& why) const {
        throw std::invalid_argument("plan \"" + s_ + "\": " + why);
    }
    void skipSpace() {
        while (pos_ < s_.size() && s_[pos_] == ' ') ++pos_;
    }
    bool eat(char c) {
        skipSpace();
        if (pos_ < s_.size() && s_[pos_] == c) {
            ++pos_;
            return true;
        }
        return false;
    }
    int number() {
        skipSpace();
        std::size_t start = pos_;
        while (pos_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[pos_]))) ++pos_;
        if (start == pos_) fail("number expected");
        return std::stoi(s_.substr(start, pos_ - start));
    }

    static PlanNode leafOf(int n) {
        PlanNode p;
        p.n = n;
        return p;
    }

    PlanNode split(PlanNode::Kind kind, PlanNode a, PlanNode b) {
        PlanNode p;
        p.kind = kind;
        p.n = a.n * b.n;
        if (kind == PlanNode::GT && std::gcd(a.n, b.n) != 1)
            fail("Good-Thomas factors " + std::to_string(a.n) + " and " + std::to_string(b.n) +
                 " are not coprime");
        p.kids.push_back(std::move(a));
        p.kids.push_back(std::move(b));
        return p;
    }

    PlanNode node() {
        skipSpace();
        if (pos_ >= s_.size()) fail("unexpected end");
        char c = s_[pos_];
        if (c == 'C' || c == 'G') {
            if (s_.compare(pos_, 5, "chirp") == 0) {
                pos_ += 5;
                PlanNode p;
                p.kind = PlanNode::Chirp;
                p.n = number();
                return p;
            }
            ++pos_;
            if (!eat('(')) fail("'(' expected");
            PlanNode::Kind kind = c == 'C' ? PlanNode::CT : PlanNode::GT;
            PlanNode a = node();
            if (!eat(',')) fail("',' expected");
            PlanNode b = node();
            PlanNode p = split(kind, std::move(a), std::move(b));
            while (kind == PlanNode::GT && eat(',')) p = split(kind, std::move(p), node());
            if (!eat(')')) fail("')' expected");
            return p;
        }
        if (c == 'c') {
            if (s_.compare(pos_, 5, "chirp") != 0) fail("unknown token");
            pos_ += 5;
            PlanNode p;
            p.kind = PlanNode::Chirp;
            p.n = number();
            return p;
        }
        if (c == 'R') {
            ++pos_;
            PlanNode p;
            p.kind = PlanNode::Rader;
            p.n = number();
            if (!isPrime(p.n)) fail("R" + std::to_string(p.n) + " is not a prime network");
            if (eat('[')) p.halves = bracketed();
            return p;
        }
        PlanNode p;
        p.kind = PlanNode::Leaf;
        p.n = number();
        if (p.n >= 13 && isPrime(p.n)) {
            p.kind = PlanNode::Rader;
            return p;
        }
        if (eat('s')) p.sumDiff = true;
        else if (eat('r')) p.realRader = true;
        if (p.sumDiff && p.n != 5) fail("sum-difference form exists for 5 points only");
        if (p.n < 2) fail("leaf of length below 2");
        // The 8-point network is the split C(4,2); the tables may write it as 8.
        if (p.n == 8) return split(PlanNode::CT, leafOf(4), leafOf(2));
        return p;
    }

    static bool isPrime(int n) {
        if (n < 2) return false;
        for (int d = 2; d * d <= n; ++d)
            if (n % d == 0) return false;
        return true;
    }
    // The text up to the ']' that closes an opened '[', kept as it stands.
    std::string bracketed() {
        std::size_t start = pos_;
        int depth = 1;
        for (; pos_ < s_.size(); ++pos_) {
            if (s_[pos_] == '[') ++depth;
            if (s_[pos_] == ']' && --depth == 0) break;
        }
        if (pos_ >= s_.size()) fail("']' expected");
        return s_.substr(start, pos_++ - start);
    }

    std::string s_;
    std::size_t pos_ = 0;
};

}  // namespace

PlanNode parsePlan(const std::string& text) { return Parser(text).parse(); }

PlanNode parsePlanFor(const std::string& text, int n) {
    PlanNode p = parsePlan(text);
    if (p.n != n)
        throw std::invalid_argument("plan \"" + text + "\": factors multiply to " + std::to_string(p.n) +
                                    ", not " + std::to_string(n));
    return p;
}

}  // namespace qrbgen::plans
