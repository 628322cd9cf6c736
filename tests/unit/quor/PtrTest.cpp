// Counted pointers: who shares an object, who takes it over, and when it goes.
#include "quor/PtrInterface.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <array>

namespace Quor {
namespace {

/// Keeps the number of its kind that are alive.
class Counted : public PtrInterface {
 public:
   explicit Counted( int &alive ) : alive_( alive ) { ++alive_; }
   ~Counted() override { --alive_; }

   using PtrInterface::references;

 private:
   int &alive_;
};

class Special : public Counted {
 public:
   using Counted::Counted;
};

TEST( Ptr, IsNullUntilItIsGivenAnObject ) {
   const Ptr<Counted> none;
   const Ptr<Counted> null = nullptr;
   EXPECT_EQ( none.get(), nullptr );
   EXPECT_FALSE( none );
   EXPECT_TRUE( none == nullptr );
   EXPECT_EQ( null.get(), nullptr );
   EXPECT_TRUE( none == null );
}

TEST( Ptr, MakeHandsTheCreatorsReferenceToThePointer ) {
   int alive = 0;
   {
      const Ptr<Counted> made = make<Counted>( alive );
      EXPECT_TRUE( made );
      EXPECT_FALSE( made == nullptr );
      EXPECT_EQ( alive, 1 );
      EXPECT_EQ( made->references(), 1u );
   }
   EXPECT_EQ( alive, 0 );
}

TEST( Ptr, CopiesShareTheObjectAndCostOneReferenceEach ) {
   int alive = 0;
   Ptr<Counted> first = make<Counted>( alive );
   Ptr<Counted> second = first;
   EXPECT_EQ( second.get(), first.get() );
   EXPECT_TRUE( second == first );
   EXPECT_EQ( first->references(), 2u );
   {
      const std::array more{ first, second };
      EXPECT_EQ( more.back().get(), first.get() );
      EXPECT_EQ( first->references(), 4u );
   }
   EXPECT_EQ( first->references(), 2u );
   first = nullptr;
   EXPECT_EQ( alive, 1 );
   EXPECT_EQ( second->references(), 1u );
   second = nullptr;
   EXPECT_EQ( alive, 0 );
}

TEST( Ptr, AMoveHandsTheReferenceOver ) {
   int alive = 0;
   Ptr<Counted> from = make<Counted>( alive );
   Counted *const object = from.get();
   Ptr<Counted> to = std::move( from );
   EXPECT_EQ( from.get(), nullptr ); // NOLINT: what has been moved from is null
   EXPECT_EQ( to.get(), object );
   EXPECT_EQ( to->references(), 1u );
}

TEST( Ptr, OfADerivedTypeBecomesOneOfItsBaseAndOfAConstantByCopyAndByMove ) {
   int alive = 0;
   Ptr<Special> special = make<Special>( alive );
   const Ptr<Counted> base = special;
   const Ptr<const Special> view = special;
   EXPECT_EQ( base.get(), special.get() );
   EXPECT_EQ( view.get(), special.get() );
   EXPECT_TRUE( view == special );
   EXPECT_EQ( special->references(), 3u );
   const Ptr<const Counted> moved = std::move( special );
   EXPECT_EQ( special.get(), nullptr ); // NOLINT: what has been moved from is null
   EXPECT_EQ( moved->references(), 3u );
}

TEST( Ptr, IsNotMadeOfAPlainPointerNorOfAReadOnlyOneNorOfABase ) {
   EXPECT_FALSE( (std::is_constructible_v<Ptr<Counted>, Counted *>));
   EXPECT_FALSE( (std::is_constructible_v<Ptr<Counted>, Ptr<const Counted>>));
   EXPECT_FALSE( (std::is_constructible_v<Ptr<Special>, Ptr<Counted>>));
   EXPECT_FALSE( (std::is_convertible_v<Ptr<Counted>, bool>));
}

TEST( Ptr, IsOneWord ) {
   EXPECT_EQ( sizeof( Ptr<Counted> ), sizeof( void * ) );
}

TEST( Ptr, AssigningItToItselfChangesNothing ) {
   int alive = 0;
   Ptr<Counted> pointer = make<Counted>( alive );
   Ptr<Counted> &same = pointer;
   pointer = same;
   EXPECT_EQ( pointer->references(), 1u );
   pointer = std::move( same );
   ASSERT_TRUE( pointer ); // NOLINT: moved to itself it stays
   EXPECT_EQ( pointer->references(), 1u );
   EXPECT_EQ( alive, 1 );
}

TEST( Ptr, AssigningAnotherObjectLetsGoOfTheFirst ) {
   int first = 0;
   int second = 0;
   Ptr<Counted> pointer = make<Counted>( first );
   pointer = make<Counted>( second );
   EXPECT_EQ( first, 0 );
   EXPECT_EQ( second, 1 );
   EXPECT_EQ( pointer->references(), 1u );
}

TEST( Ptr, ComparesByTheObject ) {
   int alive = 0;
   const Ptr<Counted> one = make<Counted>( alive );
   const Ptr<Counted> other = make<Counted>( alive );
   EXPECT_FALSE( one == other );
   EXPECT_TRUE( one != other );
   EXPECT_TRUE( one != nullptr );
}

TEST( Ptr, AdoptTakesOverAReferenceThatReleaseGave ) {
   int alive = 0;
   Ptr<Counted> owner = make<Counted>( alive );
   Counted *const plain = owner.release();
   EXPECT_EQ( owner.get(), nullptr );
   EXPECT_EQ( plain->references(), 1u );
   const Ptr<Counted> again = Ptr<Counted>::adopt( plain );
   EXPECT_EQ( again.get(), plain );
   EXPECT_EQ( plain->references(), 1u );
}

TEST( Ptr, ShareAddsAReferenceAndOfNullIsNull ) {
   int alive = 0;
   const Ptr<Counted> owner = make<Counted>( alive );
   const Ptr<Counted> shared = Ptr<Counted>::share( owner.get() );
   EXPECT_EQ( shared.get(), owner.get() );
   EXPECT_EQ( owner->references(), 2u );
   EXPECT_EQ( Ptr<Counted>::share( nullptr ).get(), nullptr );
}

TEST( Ptr, PtrToIsOneMoreReferenceToALivingObject ) {
   int alive = 0;
   Ptr<Counted> owner = make<Counted>( alive );
   const Ptr<Counted> again = ptrTo( *owner );
   EXPECT_EQ( again->references(), 2u );
   owner = nullptr;
   EXPECT_EQ( alive, 1 );
}

TEST( PtrDeathTest, FollowingNullStopsTheProcess ) {
   const Ptr<Counted> null;
   const String report = Support::assertionReport( "QuorPtr", "T *Quor::Ptr<T>::operator->() const",
                                                   "object_ != nullptr" );
   EXPECT_DEATH( null->isHeld(), report );
   EXPECT_DEATH( ( *null ).isHeld(), report );
}

TEST( ValidPtr, HoldsWhatItIsGiven ) {
   int alive = 0;
   const Ptr<Counted> owner = make<Counted>( alive );
   const ValidPtr<Counted> valid = owner;
   EXPECT_EQ( valid.get(), owner.get() );
   EXPECT_EQ( valid->references(), 2u );
   EXPECT_EQ( &*valid, owner.get() );
   const Ptr<Counted> &plain = valid;
   EXPECT_EQ( plain.get(), owner.get() );
}

TEST( ValidPtr, OfANullPointerIsARangeError ) {
   try {
      const ValidPtr<Counted> valid{ Ptr<Counted>() };
      FAIL() << "was made of null: " << valid.get();
   } catch( const RangeException &error ) {
      EXPECT_STREQ( error.what(), "null ValidPtr" );
   }
}

TEST( ValidPtr, IsNotNullEitherAfterItsObjectWasPassedOn ) {
   int alive = 0;
   ValidPtr<Counted> valid = make<Counted>( alive );
   const ValidPtr<Counted> other = std::move( valid ); // NOLINT(performance-move-const-arg)
   EXPECT_EQ( alive, 1 );
   EXPECT_NE( valid.get(), nullptr ); // NOLINT(bugprone-use-after-move)
}

} // namespace
} // namespace Quor
