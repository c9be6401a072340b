#pragma once

#include <cimple/Array.h>
#include <cimple/Provider.h>
#include <cimple/Ref.h>

CIMPLE_NAMESPACE_BEGIN

/// Owns instances with distinct keys, in insertion order. Look-ups are linear. Needs a lock of the
/// caller.
template <class CLASS>
class Instance_Map {
  public:
    Instance_Map() = default;
    Instance_Map(const Instance_Map&) = delete;
    Instance_Map& operator=(const Instance_Map&) = delete;
    ~Instance_Map() { clear(); }

    /// Takes the instance over and returns its position. If its keys exist already, returns
    /// size_t(-1) and the caller keeps the instance.
    size_t insert(CLASS* instance) {
        if (find(instance) != size_t(-1)) {
            return size_t(-1);
        }
        instances_.append(instance);
        return size() - 1;
    }

    /// Position of the instance with the keys of `model`, size_t(-1) if there is none.
    size_t find(const CLASS* model) const {
        for (size_t i = 0; i < size(); i++) {
            if (key_eq(instances_[i], model)) {
                return i;
            }
        }
        return size_t(-1);
    }

    /// The instance with the keys of `model`, null if there is none. The map keeps ownership.
    CLASS* lookup(const CLASS* model) {
        const size_t pos = find(model);
        return pos == size_t(-1) ? nullptr : instances_[pos];
    }

    /// Removes an instance from the map without destroying it: get it from the map before, to keep
    /// or free it. REQUIRES: pos < size().
    void remove(size_t pos) { instances_.remove(pos); }

    size_t size() const { return instances_.size(); }

    /// REQUIRES: pos < size().
    CLASS* operator[](size_t pos) { return instances_[pos]; }
    const CLASS* operator[](size_t pos) const { return instances_[pos]; }

    void clear() {
        for (size_t i = 0; i < size(); i++) {
            unref(instances_[i]);
        }
        instances_.clear();
    }

    /// The operations of a provider on the map's contents. Stored and returned instances are
    /// clones.
    Get_Instance_Status get_instance(const CLASS* model, CLASS*& instance) {
        const CLASS* found = lookup(model);
        if (!found) {
            return GET_INSTANCE_NOT_FOUND;
        }
        instance = found->clone();
        return GET_INSTANCE_OK;
    }

    Enum_Instances_Status enum_instances(const CLASS*, Enum_Instances_Handler<CLASS>* handler) {
        for (size_t i = 0; i < size(); i++) {
            if (!handler->handle(instances_[i]->clone())) {
                break;
            }
        }
        return ENUM_INSTANCES_OK;
    }

    Create_Instance_Status create_instance(const CLASS* instance) {
        Ref<CLASS> copied(instance->clone());
        if (insert(copied.ptr()) == size_t(-1)) {
            return CREATE_INSTANCE_DUPLICATE;
        }
        copied.steal();
        return CREATE_INSTANCE_OK;
    }

    Delete_Instance_Status delete_instance(const CLASS* instance) {
        const size_t pos = find(instance);
        if (pos == size_t(-1)) {
            return DELETE_INSTANCE_NOT_FOUND;
        }
        const Ref<CLASS> removed(instances_[pos]);
        remove(pos);
        return DELETE_INSTANCE_OK;
    }

    /// Changes the properties that are non-null in `model`.
    Modify_Instance_Status modify_instance(const CLASS* model, const CLASS* instance) {
        CLASS* found = lookup(model);
        if (!found) {
            return MODIFY_INSTANCE_NOT_FOUND;
        }
        copy(found, instance, model);
        return MODIFY_INSTANCE_OK;
    }

  private:
    Array<CLASS*> instances_;
};

CIMPLE_NAMESPACE_END
