// FunctionRef: a cheap, non-owning reference to something callable.  Every
// `each...` walk takes its visitor as one of these, so a lambda that captures
// its caller's locals is the visitor's context.  The referenced callable must
// outlive the call that receives it, which a walk's visitor always does.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

template <typename Fn> class FunctionRef;

template <typename Ret, typename... Params> class FunctionRef<Ret(Params...)> {
    Ret (*callback)(intptr_t callable, Params... params) = nullptr;
    intptr_t callable = 0;

    template <typename Callable> static Ret callbackFn(intptr_t callable, Params... params) {
        return (*reinterpret_cast<Callable *>(callable))(std::forward<Params>(params)...);
    }

public:
    FunctionRef() = default;

    template <typename Callable, typename = std::enable_if_t<
                                     !std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef> &&
                                     std::is_invocable_r_v<Ret, Callable &, Params...>>>
    FunctionRef(Callable &&callable)
        : callback(callbackFn<std::remove_reference_t<Callable>>),
          callable(reinterpret_cast<intptr_t>(&callable)) {}

    Ret operator()(Params... params) const {
        return callback(callable, std::forward<Params>(params)...);
    }

    explicit operator bool() const { return callback != nullptr; }
};
