#pragma once
// The interface of the pipeline's image operators and the mixins they are assembled from.
//
// Conventions:
// - An operator offers render elements (getElements) over a region and computes the pixels of
//   one element on request; requests pull data through the operator's dependencies.
// - getImageRect is the full image (the display window), getRegion the part of it that holds
//   pixels (the data window), both in image coordinates. A compute request names a rectangle
//   relative to the region's origin: the whole region is wholeRegion(op). Rectangles are Buckets
//   (min inclusive, max exclusive). A computed bitmap has trunc(width / scale) x
//   trunc(height / scale) pixels.
// - compute/computeMono return std::nullopt when the operator cannot produce the element; that is
//   never an error in itself.
// - Operators hold plain pointers to their dependencies, settings and image information; the
//   pipeline that owns them outlives them all.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lumora/foundation/bitmap.hpp"
#include "lumora/foundation/float4.hpp"
#include "lumora/foundation/geometry.hpp"
#include "lumora/image/element_info.hpp"
#include "lumora/image/render_element_info.hpp"

namespace lumora {

class Settings;

class IOperator {
public:
    // Which render elements a run processes: "*" for all of them, otherwise the name of one
    // element as the graphical edition shows it. Never empty.
    struct ElementSelector {
        std::string name = "*";

        bool selectsAll() const { return name == "*"; }
        bool operator==(const ElementSelector&) const = default;
    };

    using ElementFilter = std::shared_ptr<const std::function<bool(const ElementInfo&)>>;

    // Compute flag: an asynchronous operator brings its result up to date first.
    static constexpr unsigned ComputeUpdate = 2;

    virtual ~IOperator() = default;

    // Time of the last change that affects this operator's output.
    virtual std::int64_t getTimestamp() const = 0;
    virtual std::vector<ElementInfo> getElements() const = 0;
    // The full image's rectangle and the region this operator works on.
    virtual Bucket getImageRect() const = 0;
    virtual Bucket getRegion() const = 0;
    virtual std::optional<Bitmap<Float4>> compute(const ElementInfo& element, const Bucket& region, float scale,
                                                  unsigned flags) = 0;
    virtual std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                                     unsigned flags) = 0;

    // "*" accepts every element (hidden ones too); a name accepts exactly the element of that
    // display name.
    static ElementFilter makeElementFilter(const ElementSelector& selector);
};

// The whole of an operator's region in the coordinates that compute requests use.
inline Bucket wholeRegion(const IOperator& op) { return Bucket{Pixel::ZERO, op.getRegion().size()}; }

// A monotonic time stamp for "last change" comparisons.
std::int64_t currentTimestamp();

// The element list of the loaded image and its render element records.
class IImageInfoProvider {
public:
    virtual ~IImageInfoProvider() = default;
    virtual std::optional<RenderElementInfo> findRenderElementInfo(const std::string& displayName) const = 0;
    virtual std::vector<ElementInfo> getElementInfos() const = 0;
    virtual std::int64_t getElementsTimestamp() const = 0;
};

// The elements of the provider's list, in list order, for which predicate holds.
std::vector<ElementInfo> listElements(const IImageInfoProvider& provider,
                                      const std::function<bool(const ElementInfo&)>& predicate);

template <class Base>
class ProgressMixin : public Base {
public:
    using TextCallback = std::shared_ptr<const std::function<void(const std::string&)>>;
    using ValueCallback = std::shared_ptr<const std::function<void(float)>>;
    using StepCallback = std::shared_ptr<const std::function<void()>>;

    void setProgressTextCallback(TextCallback c) { progressText_ = std::move(c); }
    void setProgressValueCallback(ValueCallback c) { progressValue_ = std::move(c); }
    void setStepCallback(StepCallback c) { step_ = std::move(c); }
    void setInfoCallback(TextCallback c) { info_ = std::move(c); }
    void setWarningCallback(TextCallback c) { warning_ = std::move(c); }
    void setErrorCallback(TextCallback c) { error_ = std::move(c); }
    void setSilent(bool silent) { silent_ = silent; }
    bool isSilent() const { return silent_; }

protected:
    void reportProgressText(const std::string& text) const { call(progressText_, text); }
    void reportProgress(float value) const {
        if (!silent_ && progressValue_) (*progressValue_)(value);
    }
    void reportStep() const {
        if (!silent_ && step_) (*step_)();
    }
    void reportInfo(const std::string& text) const { call(info_, text); }
    void reportWarning(const std::string& text) const { call(warning_, text); }
    void reportError(const std::string& text) const { call(error_, text); }

private:
    void call(const TextCallback& c, const std::string& text) const {
        if (!silent_ && c) (*c)(text);
    }

    bool silent_ = false;
    TextCallback progressText_, info_, warning_, error_;
    ValueCallback progressValue_;
    StepCallback step_;
};

template <class Base>
class SettingsMixin : public Base {
public:
    void setSettings(Settings* settings) { settings_ = settings; }
    Settings* getSettings() const { return settings_; }

protected:
    Settings* settings_ = nullptr;
};

template <class Base>
class ImageInfoMixin : public Base {
public:
    void setImageInfo(const IImageInfoProvider* info) { imageInfo_ = info; }
    const IImageInfoProvider* getImageInfo() const { return imageInfo_; }

protected:
    const IImageInfoProvider* imageInfo_ = nullptr;
};

// N dependencies; the time stamp, the image rectangle, the region and single-channel requests
// are those of the first one.
template <int N, class Base>
class DependentMixin : public Base {
public:
    static_assert(N == 1 || N == 2);

    void setDependency(int index, IOperator* op) { dependencies_.at(static_cast<std::size_t>(index)) = op; }
    IOperator* getDependency(int index) const { return dependencies_.at(static_cast<std::size_t>(index)); }

    std::int64_t getTimestamp() const override { return first() ? first()->getTimestamp() : 0; }
    Bucket getImageRect() const override { return first() ? first()->getImageRect() : Bucket{}; }
    Bucket getRegion() const override { return first() ? first()->getRegion() : Bucket{}; }
    std::optional<Bitmap<float>> computeMono(const ElementInfo& element, const Bucket& region, float scale,
                                             unsigned flags) override {
        return first() ? first()->computeMono(element, region, scale, flags) : std::nullopt;
    }

protected:
    IOperator* first() const { return dependencies_[0]; }

    std::array<IOperator*, N> dependencies_{};
};

}  // namespace lumora
