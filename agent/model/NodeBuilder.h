#pragma once

#include <initializer_list>
#include <utility>

#include "agent/Machine.h"
#include "agent/model/Node.h"
#include "catalogue/Shape.h"

namespace varnock::agent {

/// Writes facts in the notation that a description of a machine has at one place. A fact that is
/// missing, or not in the range of its notation, becomes null. Bytes of a text that are no UTF-8
/// are escaped: "\xE9".
class NodeBuilder {
  public:
    /// A member of an object, and the fact about it.
    using Member = std::pair<const char*, Answer>;

    /// The shape and the heap must outlive the builder.
    NodeBuilder(const catalogue::Shape& shape, JsonHeap& heap) : shape_(&shape), heap_(&heap) {}

    /// For the member of an object, and for an element of a list. The shape must have it.
    [[nodiscard]] NodeBuilder member(const char* name) const;
    [[nodiscard]] NodeBuilder element() const { return {*shape_->element, *heap_}; }

    [[nodiscard]] Node value(const Answer& fact) const;
    /// An object, and more members of one. Members without a fact are left out.
    [[nodiscard]] Node object(std::initializer_list<Member> members) const;
    void add(Node& object, std::initializer_list<Member> members) const;
    /// The same for an object or a list as a member.
    void add(Node& object, const char* name, Node tree) const;
    /// A value for each fact of a range.
    template <typename Facts>
    [[nodiscard]] Node values(const Facts& facts) const {
        return list(facts,
                    [](const NodeBuilder& each, const auto& fact) { return each.value(fact); });
    }
    /// Writes each item of a range by a function of the element's builder and the item.
    template <typename Items, typename Write>
    [[nodiscard]] Node list(const Items& items, Write write) const {
        Node list(rapidjson::kArrayType);
        for (const auto& item : items) {
            list.PushBack(write(element(), item), *heap_);
        }
        return list;
    }

  private:
    const catalogue::Shape* shape_;
    JsonHeap* heap_;
};

}  // namespace varnock::agent
