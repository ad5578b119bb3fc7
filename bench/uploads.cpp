// SPDX-License-Identifier: MIT
// The part of uploads that the database does, as a service does it: so many threads turn slots into contents for a while, each slot
// with the transaction of a request. bench/engines/records.py runs it beside the same statements sent by pgbench.
//
// Usage: bench_uploads DATABASE THREADS SECONDS COUNT FIRST FIRST_GROUP GROUPS FIRST_PERSON MEMBERS
//   COUNT slots from FIRST on belong to the groups in turn, and in each group to its members in turn. Each thread has filled one
//   before the time begins. Prints how many were filled in it, and how long it was.
#include "operations/Options.h"
#include "store/Contents.h"
#include "store/Locks.h"
#include "support/Usage.h"

#include <atomic>
#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace kinloomd;

struct Slots {
    std::int64_t count = 0;
    Id first = 0;
    Id firstGroup = 0;
    std::int64_t groups = 0;
    Id firstPerson = 0;
    std::int64_t members = 0; ///< of each group

    Id groupOf(std::int64_t place) const { return firstGroup + place % groups; }
    Id personOf(std::int64_t place) const { return firstPerson + place % groups * members + place / groups % members; }
};

/// What a request does when its bytes are whole and in their place.
void upload(Database& database, const Slots& slots, std::int64_t place)
{
    const Id group = slots.groupOf(place);
    const Id person = slots.personOf(place);
    UploadedFile file{"IMG_4711.jpg", Format::JPEG, 3'000'000, 4000, 3000, Millis{1'600'000'000'000}};
    const std::string number = std::to_string(slots.first + place);
    file.digest = std::string(64 - number.size(), '0') + number;
    constexpr Id DEVICE = 1;
    file.device = DEVICE;
    file.taker = {1, now() + Millis{1} * 3'600'000};
    Person creator;
    creator.id = person;
    const Twins twins{DEVICE, now() - Limits().sentBeforeTime.count()};
    database.change([&](DatabaseConnection& connection) {
        lockGroupAndPerson(connection, group, person);
        Slot slot;
        slot.id = slots.first + place;
        slot.group = group;
        if (commitUploadAtOnce(connection, slot, file, creator, twins, 0))
            return;
        // Step by step.
        if (findTwin(connection, group, file.digest, twins))
            throw std::runtime_error("the photo is there already");
        const auto found = findSlot(connection, slot.id, person);
        if (!found || found->filled || !commitUpload(connection, *found, file) || !findContent(connection, slot.id))
            throw std::runtime_error("a slot cannot be filled");
    });
}

/// Lets threads fill slots, each one after the other, for so long and one at least. \return the next slot.
std::int64_t fill(Database& database, int threads, double seconds, const Slots& slots, std::int64_t begin)
{
    std::atomic<std::int64_t> next{begin};
    const double end = bench::now() + seconds;
    std::vector<std::future<void>> workers;
    workers.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        workers.push_back(std::async(std::launch::async, [&] {
            do {
                const std::int64_t place = next++;
                if (place >= slots.count)
                    throw std::runtime_error("there are too few slots");
                upload(database, slots, place);
            } while (bench::now() < end);
        }));
    }
    for (std::future<void>& worker : workers)
        worker.get();
    return next;
}

void run(const std::string& location, int threads, double seconds, const Slots& slots)
{
    Database database(location);
    // The first round opens the connections and has the statements prepared.
    const std::int64_t first = fill(database, threads, 0, slots, 0);
    const double begin = bench::now();
    const std::int64_t end = seconds > 0 ? fill(database, threads, seconds, slots, first) : first;
    std::cout << end - first << ' ' << bench::now() - begin << '\n';
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 10)
        throw std::invalid_argument("bench_uploads wants nine arguments");
    const std::vector<std::string> words(argv + 1, argv + argc);
    run(words[0], std::stoi(words[1]), std::stod(words[2]),
        {std::stoll(words[3]), std::stoll(words[4]), std::stoll(words[5]), std::stoll(words[6]), std::stoll(words[7]),
         std::stoll(words[8])});
    return EXIT_SUCCESS;
} catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return EXIT_FAILURE;
}
