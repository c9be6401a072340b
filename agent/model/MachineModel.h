#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "agent/model/Node.h"
#include "agent/model/Places.h"
#include "agent/model/Values.h"

namespace varnock::agent {

/// A path that leads to nothing; the text is a sentence about it.
class UnknownPath : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
};

/// A value that stands in for that of the machine until it is taken back.
struct Override {
    std::string path;
    Node machineValue;  ///< null if the machine has none
    std::string owner;
    std::optional<double> ends;  ///< seconds since the start
};

/// A value with its path, as JSON.
struct Listed {
    std::string path;
    std::string value;
};

/// The description of a machine while it runs: its values, and overrides of them. Not thread-safe.
class MachineModel {
  public:
    using Clock = std::function<Moment()>;
    /// Is told the path of each value that has changed.
    using Observer = std::function<void(const std::string& path)>;
    /// Brings what a path leads to up to date, and all below it if the whole is asked for.
    using Refresh = std::function<void(const catalogue::ModelPath& path, const Arguments& arguments,
                                       bool isWhole)>;

    /// The document must have the shape of a machine.
    MachineModel(Document machine, Clock clock);

    Moment now() const { return clock_(); }
    void setClock(Clock clock) { clock_ = std::move(clock); }
    JsonHeap& heap() { return machine_.GetAllocator(); }
    void observe(Observer observer) { observer_ = std::move(observer); }
    /// From then on a value is read when it is asked for.
    void refreshBy(Refresh refresh) { refresh_ = std::move(refresh); }

    /// @name For a refresh
    /// The observer does not hear of it.
    /// @{
    Node& root() { return machine_; }
    /// Gives a member of an object its present value, which may be a whole object or list; null
    /// removes it. An override stays, with the present value behind it.
    void put(Node& holder, std::string_view name, Node value);
    /// @}

    /// The place of a path at this moment, overrides included.
    [[nodiscard]] Place find(const catalogue::ModelPath& path, const Arguments& arguments = {});

    /// The number of a value at this moment, negative ones as such; nothing if there is none.
    [[nodiscard]] std::optional<double> number(const std::string& text);

    /// Changes a value that the machine has, which may be overridden: then readers see the new
    /// value once the override ends. False if there is no such value.
    [[nodiscard]] bool write(const catalogue::ModelPath& path, const Arguments& arguments,
                             Node value);

    /// @name Control by a person
    /// Paths are as in "cabinets[0].fans[2].speed". What a path or value lacks is thrown as
    /// std::invalid_argument with a sentence, as UnknownPath if the path leads nowhere.
    /// @{

    /// The value at a path, an object or a list too, as JSON. A curve gives its value of the
    /// moment.
    [[nodiscard]] std::string get(const std::string& text);
    /// The same, but "null" where the machine has no value.
    [[nodiscard]] std::string look(const std::string& text);
    /// The same, but a curve as it is, not its value of the moment.
    [[nodiscard]] std::string source(const std::string& text);
    /// A value that the model does not hold, in the same notation.
    [[nodiscard]] static std::string jsonOf(const Node& value);
    /// Overrides a value by one in JSON; null makes it absent. A text need not be quoted. A later
    /// override of the same value replaces the earlier one.
    void set(const std::string& given, const std::string& value, const std::string& owner,
             std::optional<double> seconds);
    /// Takes an override back. False if there is none.
    bool reset(const std::string& given);
    void resetAll();
    const std::vector<Override>& overrides();
    /// The paths of all values that begin with this text.
    [[nodiscard]] std::vector<std::string> list(std::string_view beginning);
    /// The same with their values of one moment, "null" for an absent one.
    [[nodiscard]] std::vector<Listed> values(std::string_view beginning);
    /// @}

    /// The whole machine as a machine file, without the overrides.
    [[nodiscard]] std::string save();

  private:
    Node& slotFor(const catalogue::ModelPath& path, const std::string& text);
    void replace(Node& value, Node by, const std::string& path);
    void refresh(const catalogue::ModelPath& path, const Arguments& arguments, bool isWhole);
    void merge(Node& value, Node present);
    void mergeElements(Node& list, Node& present);
    void mergeMembers(Node& object, Node& present);
    std::string presentText(const catalogue::ModelPath& path, const Node& value);
    void endOverrides();
    void restore(Override& ended);
    Override* overrideOf(const Node& value);

    Document machine_;
    Clock clock_;
    Observer observer_;
    Refresh refresh_;
    std::vector<Override> overrides_;
};

}  // namespace varnock::agent
