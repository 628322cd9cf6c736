// What a member function tells of the attribute that it reads or writes.
#ifndef QUOR_MEMBERS_H
#define QUOR_MEMBERS_H

#include "quor/Ptr.h"

#include <tuple>
#include <type_traits>

namespace Quor::Rows {

/// Of a member function: its class, its arguments, and what it gives, without reference and const.
template <class F>
struct Member;
template <class T, class R, class... A>
struct Member<R ( T::* )( A... )> {
   static constexpr bool kIsConst = false;
   using Owner = T;
   using Result = std::remove_cvref_t<R>;
   using Arguments = std::tuple<std::remove_cvref_t<A>...>;
};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) const> : Member<R ( T::* )( A... )> {
   static constexpr bool kIsConst = true;
};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) noexcept> : Member<R ( T::* )( A... )> {};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) const noexcept> : Member<R ( T::* )( A... ) const> {};
template <class R, class... A>
struct Member<R ( * )( A... )> {
   using Result = std::remove_cvref_t<R>;
   using Arguments = std::tuple<std::remove_cvref_t<A>...>;
};

template <auto F>
using OwnerOf = typename Member<decltype( F )>::Owner;
template <auto F>
using ResultOf = typename Member<decltype( F )>::Result;
template <auto F>
using ArgumentsOf = typename Member<decltype( F )>::Arguments;
/// Does the member function leave its object as it is?
template <auto F>
inline constexpr bool kIsConst = Member<decltype( F )>::kIsConst;

/// What a pointer of any kind points to.
template <class P>
struct PointeeOf {
   using T = P; // no pointer
};
template <class P>
struct PointeeOf<Ptr<P>> {
   using T = std::remove_const_t<P>;
};
template <class P>
struct PointeeOf<ValidPtr<P>> {
   using T = std::remove_const_t<P>;
};
template <class P>
struct PointeeOf<P *> {
   using T = std::remove_const_t<P>;
};
template <class P>
using Pointee = typename PointeeOf<P>::T;

} // namespace Quor::Rows

#endif
