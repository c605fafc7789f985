#pragma once
// The pipeline's tone-mapping step: maps the picture of an element with a Mapping built from the
// current settings for each request. Raw-data elements (normals, masks) pass unmapped; the
// other slots pass through to the dependency, so single-channel requests are never mapped.

#include <functional>
#include <mutex>
#include <set>
#include <string>

#include "lumora/colormap/color_mapping.hpp"
#include "lumora/pipeline/operator.hpp"

namespace lumora {

template <class Mapping>
class ColorMapOperator : public DependentMixin<1, SettingsMixin<IOperator>> {
public:
    using WarningOutput = std::function<void(const std::string&)>;

    ColorMapOperator() = default;
    ColorMapOperator(IOperator* dependency, Settings* settings) {
        setDependency(0, dependency);
        setSettings(settings);
    }

    // Where table-loading problems go; by default a line on standard error. Each distinct
    // message is written once per operator, not once per element.
    void setWarningOutput(WarningOutput output) { warningOutput_ = std::move(output); }

    std::vector<ElementInfo> getElements() const override {
        return first() ? first()->getElements() : std::vector<ElementInfo>{};
    }
    std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                          unsigned flags) override;

private:
    void warn(const std::string& message);

    WarningOutput warningOutput_;
    std::mutex warnedMutex_;
    std::set<std::string> warned_;
};

extern template class ColorMapOperator<ColorMapping>;

}  // namespace lumora
