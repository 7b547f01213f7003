#include "platform/EditorPreferences.h"

#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using Key = LightweightString<char>;

TEST(EditorPreferencesConcurrency, ThreadsSettingReadingAndSavingAtOnceLoseNothing) {
    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    EditorPreferences& p = prefs();
    p.clear();
    constexpr int kWriters = 3;
    constexpr int kKeys = 300;
    std::atomic<bool> writersDone{false};
    std::atomic<int> saveFailures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kWriters; ++t) {
        threads.emplace_back([&p, t] {
            for (int i = 0; i < kKeys; ++i) {
                const Key key(("w" + std::to_string(t) + "_" + std::to_string(i)).c_str());
                p.setPreference(key, i);
                p.setPreference(Key(("d" + std::to_string(t)).c_str()), double(i) / 4.0);
                p.setPreference(Key("shared"), (i % 2) == 0);
                EXPECT_EQ(p.getPreference(key, -1), i);
            }
        });
    }
    threads.emplace_back([&] {
        do {
            if (!p.save(path)) saveFailures.fetch_add(1);
            (void)p.toText();
            (void)p.getPreference(Key("shared"), false);
        } while (!writersDone.load());
    });
    for (int t = 0; t < kWriters; ++t) threads[t].join();
    writersDone = true;
    threads.back().join();

    EXPECT_EQ(saveFailures.load(), 0);
    for (int t = 0; t < kWriters; ++t) {
        for (int i = 0; i < kKeys; ++i)
            EXPECT_EQ(p.getPreference(Key(("w" + std::to_string(t) + "_" + std::to_string(i)).c_str()), -1), i);
        EXPECT_EQ(p.getPreference(Key(("d" + std::to_string(t)).c_str()), 0.0), double(kKeys - 1) / 4.0);
    }
    // Every save wrote a whole, readable file: the last one loads, and each key in it
    // has the one value its writer ever gave it.
    EditorPreferences loaded;
    std::string error;
    ASSERT_TRUE(loaded.load(path, &error)) << error;
    for (int t = 0; t < kWriters; ++t) {
        for (int i = 0; i < kKeys; ++i) {
            const int v = loaded.getPreference(Key(("w" + std::to_string(t) + "_" + std::to_string(i)).c_str()), -1);
            EXPECT_TRUE(v == -1 || v == i) << v;
        }
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"prefs.txt"});
    p.clear();
}
