#pragma once
// A client in a meeting with a board, a camera, windows and a companion, none of them real.

#include "support/fake_board_screen.h"
#include "support/fake_camera.h"
#include "support/fake_companion.h"
#include "support/fake_media_screen.h"
#include "support/fake_windows.h"
#include "support/fixture.h"

struct MediaFixture : Fixture {
    FakeBoardScreen board;
    FakeToolbarScreen toolbar;
    FakeMediaScreen media;
    FakeCamera camera;
    FakeWindows windows;
    FakeCompanion companion;

    MediaFixture()
    {
        meeting.board = &board, meeting.toolbar = &toolbar, meeting.media = &media;
        state.ports.camera = &camera, state.ports.windows = &windows, state.ports.companion = &companion;
    }

    static CameraFormat Yuv(int width, int height, quint32 compression = kI420)
    {
        return {width, height, compression, 12, width * height * 12 / 8};
    }
};
