#!/usr/bin/env bash
# Cross-builds the libraries that Debian has only for Linux, from Debian's sources, into
# prefixes outside the checkout, and prints them on stdout, separated by ";".
#
#   scripts/deps.sh            all of it
#   scripts/deps.sh core       jsoncpp, GoogleTest, Google Benchmark, CLI11; MediaInfo.dll is
#                              in the same prefix and takes minutes
#   scripts/deps.sh media      FFmpeg's libraries with dav1d, a prefix of their own
#   scripts/deps.sh prefix     prints core's prefix, builds nothing
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# Debian source package, file, SHA-256.
SOURCES='
libjsoncpp    libjsoncpp_1.9.5.orig.tar.gz        f409856e5920c18d0c2fb85276e24ee607d2a09b5e7d5f0a371368903c275da2
benchmark     benchmark_1.7.1.orig.tar.gz         6430e4092653380d9dc4ccb45a1e2dc9259d581f4866dc0759713126056bc1d7
libzen        libzen_0.4.41.orig.tar.gz           aad6c25bffcc695828e4d36700243a19a0d9503fbe57d38a2fbfa302fb34df2f
libmediainfo  libmediainfo_23.04+dfsg.orig.tar.xz ed403f32d7f8329186b0f90e5e2d9c73c61928b17169d3a0991dc1173e49d250
dav1d         dav1d_1.0.0.orig.tar.xz             51737db7e4897e599684f873a4725176dd3c779e639411d7c4fce134bb5ebb82
ffmpeg        ffmpeg_5.1.9.orig.tar.xz            d9b593bb2ba93d4b50f74177e0cdcd41747e708596367deed0c30348a71dd176
'
SOURCE_DIR=$YMD_CACHE/sources
JOBS=$(nproc)

# A private apt configuration: the system's Debian entries once more, for sources. The
# system's own configuration and lists stay as they are.
apt_sources() {
    local etc=$YMD_CACHE/apt file
    mkdir -p "$etc/lists/partial" "$etc/parts"
    rm -f "$etc/parts/"*
    for file in /etc/apt/sources.list.d/*.sources; do
        grep -qs debian "$file" || continue
        sed 's/^Types:.*/Types: deb-src/' "$file" >"$etc/parts/$(basename "$file")"
    done
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -e "$file" ] || continue
        sed -n '/debian/s/^deb /deb-src /p' "$file" >"$etc/parts/$(basename "$file" .list).list"
    done
    APT_OPTIONS=(-o "Dir::Etc::sourcelist=/dev/null" -o "Dir::Etc::sourceparts=$etc/parts"
        -o "Dir::State::lists=$etc/lists" -o Dir::Cache::srcpkgcache= -o Dir::Cache::pkgcache=
        -o APT::Sandbox::User= -o Acquire::Retries=3 -o Acquire::Languages=none)
    apt-get "${APT_OPTIONS[@]}" update
}

verified() { [ -f "$2" ] && echo "$1  $2" | sha256sum --status -c -; }

# newer PACKAGE: the version that Debian serves when it has replaced the pinned one. What
# apt-get leaves has the checksum of the archive's signed index, which is kept beside it.
newer() {
    local file
    for file in "$SOURCE_DIR/$1"_*.orig.tar.*; do
        [ -f "$file.sha256" ] && verified "$(cat "$file.sha256")" "$file" && TARBALL=$file
    done
    [ -n "$TARBALL" ]
}

# fetch PACKAGE: leaves the package's checked tarball in SOURCE_DIR and its path in TARBALL.
fetch() {
    local file sum try new
    read -r file sum < <(awk -v name="$1" '$1 == name {print $2, $3}' <<<"$SOURCES")
    local path=$SOURCE_DIR/$file
    TARBALL=
    verified "$sum" "$path" && TARBALL=$path && return 0
    newer "$1" && return 0
    command -v apt-get >/dev/null || die "$file is neither cached nor can apt-get fetch it"
    mkdir -p "$SOURCE_DIR"
    for try in 1 2 3; do
        rm -rf "$path" "$SOURCE_DIR/new"
        mkdir "$SOURCE_DIR/new"
        [ -n "${APT_OPTIONS:-}" ] || apt_sources || true
        # The upstream tarball alone: the Debian part is not needed.
        if (cd "$SOURCE_DIR/new" && apt-get "${APT_OPTIONS[@]}" source --download-only --tar-only "$1"); then
            for new in "$SOURCE_DIR/new/$1"_*.orig.tar.*[!c]; do
                [ "$(basename "$new")" = "$file" ] ||
                    sha256sum "$new" | cut -d ' ' -f 1 >"$SOURCE_DIR/$(basename "$new").sha256"
                mv "$new" "$SOURCE_DIR/"
            done
        fi
        rm -rf "$SOURCE_DIR/new"
        verified "$sum" "$path" && TARBALL=$path && return 0
        if [ -f "$path" ]; then
            sha256sum "$path"
            die "$file is not the file that $sum names"
        fi
        if newer "$1"; then
            note "Debian no longer serves $file; $(basename "$TARBALL"), as apt-get has checked it, takes its place"
            return 0
        fi
        APT_OPTIONS=()
        sleep $((try * 3))
    done
    die "could not fetch $file (Debian source package $1)"
}

# A recipe's own talk goes to its log; this is for the terminal.
note() { printf 'setup: %s\n' "$*" >&"${NOTES:-2}"; }

unpack() {
    rm -rf "${WORK:?}/$1"
    mkdir -p "$WORK/$1"
    tar -xf "$TARBALL" -C "$WORK/$1" --strip-components=1
}

# cross NAME SOURCE OPTION...: configures, builds, and installs into PREFIX.
cross() {
    local name=$1 source=$2
    shift 2
    cmake -S "$source" -B "$WORK/$name-build" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$YMD_ROOT/cmake/mingw-w64.cmake" -DYMD_DEPS="$PREFIX" \
        -DCMAKE_INSTALL_PREFIX="$PREFIX" -DCMAKE_BUILD_TYPE=Release "$@"
    cmake --build "$WORK/$name-build" -j "$JOBS"
    cmake --install "$WORK/$name-build" --strip
}

build_jsoncpp() {
    fetch libjsoncpp
    unpack libjsoncpp
    cross jsoncpp "$WORK/libjsoncpp" -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON \
        -DBUILD_OBJECT_LIBS=OFF -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF
}
build_googletest() {
    cross googletest /usr/src/googletest -DCMAKE_CXX_STANDARD=17
}
build_benchmark() {
    fetch benchmark
    unpack benchmark
    cross benchmark "$WORK/benchmark" -DBENCHMARK_ENABLE_TESTING=OFF \
        -DBENCHMARK_ENABLE_GTEST_TESTS=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
        -DBENCHMARK_INSTALL_DOCS=OFF -DHAVE_STD_REGEX=1 -DHAVE_STEADY_CLOCK=1
}
# Header-only: Debian's own copy, where a cross build looks for it.
build_cli11() {
    mkdir -p "$PREFIX/include" "$PREFIX/share/cmake"
    cp -r /usr/include/CLI "$PREFIX/include/"
    cp -r /usr/share/cmake/CLI11 "$PREFIX/share/cmake/"
}
# As a unity build it takes a third of the time; the files that do not bear company are
# compiled alone.
build_mediainfo() {
    fetch libzen
    unpack libzen
    fetch libmediainfo
    unpack libmediainfo
    local project=$WORK/libmediainfo/Project/CMake source=$WORK/libmediainfo/Source
    cross zen "$WORK/libzen/Project/CMake" -DBUILD_SHARED_LIBS=OFF
    # Names alone are exported: ld refuses the ordinals, of which some stand twice.
    sed -i -E 's/[[:space:]]+@[0-9]+//' "$source/MediaInfoDLL/MediaInfoDLL.def"
    {
        echo 'set_source_files_properties('
        grep -rlE --include='*.cpp' 'namespace Elements|tinyxml2' "$source"
        find "$source/ThirdParty" -name '*.c'
        echo 'PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)'
    } >>"$project/CMakeLists.txt"
    cross mediainfo "$project" -DBUILD_SHARED_LIBS=ON -DBUILD_ZENLIB=OFF -DBUILD_ZLIB=OFF \
        -DCMAKE_UNITY_BUILD=ON -DCMAKE_CXX_FLAGS_RELEASE='-O1 -DNDEBUG' \
        -DZLIB_LIBRARY_RELEASE=/usr/x86_64-w64-mingw32/lib/libz.a
    mv "$PREFIX/bin/libmediainfo.dll" "$PREFIX/bin/MediaInfo.dll"
}

build_dav1d() {
    local tool
    fetch dav1d
    unpack dav1d
    {
        echo '[binaries]'
        for tool in c=gcc-posix cpp=g++-posix ar=ar strip=strip windres=windres; do
            echo "${tool%=*} = 'x86_64-w64-mingw32-${tool#*=}'"
        done
        printf '[host_machine]\nsystem = %s\ncpu_family = %s\ncpu = %s\nendian = %s\n' \
            "'windows'" "'x86_64'" "'x86_64'" "'little'"
    } >"$WORK/mingw.meson"
    meson setup "$WORK/dav1d-build" "$WORK/dav1d" --cross-file "$WORK/mingw.meson" --prefix "$PREFIX" \
        --libdir lib --buildtype release --default-library static -Denable_tools=false -Denable_tests=false
    ninja -C "$WORK/dav1d-build" -j "$JOBS" install
}
# Every decoder and demuxer; nothing that the GPL covers (see configure's --enable-gpl).
build_ffmpeg() {
    fetch ffmpeg
    unpack ffmpeg
    mkdir -p "$WORK/ffmpeg-build"
    cd "$WORK/ffmpeg-build"
    PKG_CONFIG_LIBDIR=$PREFIX/lib/pkgconfig "$WORK/ffmpeg/configure" --prefix="$PREFIX" \
        --enable-cross-compile --cross-prefix=x86_64-w64-mingw32- --cc=x86_64-w64-mingw32-gcc-posix \
        --arch=x86_64 --target-os=mingw32 --pkg-config=pkg-config --enable-shared --disable-static \
        --disable-programs --disable-doc --disable-debug --disable-avdevice --disable-avfilter \
        --disable-postproc --disable-encoders --disable-muxers --disable-hwaccels --disable-autodetect \
        --enable-libdav1d --enable-zlib --enable-schannel --enable-w32threads
    make -j "$JOBS"
    make install
    cp "$WORK/ffmpeg/COPYING.LGPLv2.1" "$WORK/ffmpeg/LICENSE.md" "$PREFIX/"
}

CORE=(jsoncpp googletest benchmark cli11)

# A prefix is named after what is in it, so that a change of a recipe or of the compiler
# builds anew beside the old one.
prefix_of() {
    local kind=$1 hash
    shift
    hash=$({
        "$YMD_CXX" -dumpfullversion
        declare -f cross "${@/#/build_}"
        case $kind in
        deps) grep -E 'jsoncpp|benchmark' <<<"$SOURCES" ;;
        mediainfo) grep -E 'libzen|libmedia' <<<"$SOURCES" ;;
        media) grep -E 'dav1d|ffmpeg' <<<"$SOURCES" ;;
        esac
    } | sha256sum | cut -c1-12)
    echo "$YMD_CACHE/$kind-$hash"
}

# build PREFIX NAME...: what is not there yet; each is a step of its own.
build() {
    PREFIX=$1
    WORK=$PREFIX/work
    shift
    local name
    mkdir -p "$PREFIX/.done" "$WORK"
    for name in "$@"; do
        [ -e "$PREFIX/.done/$name" ] && continue
        say "setup: building $name for Windows, once (about ${SECONDS_OF[$name]} s)"
        step "dependency $name" logged "$PREFIX/log/$name.log" env PREFIX="$PREFIX" WORK="$WORK" \
            NOTES=9 bash "${BASH_SOURCE[0]}" recipe "$name" 9>&2 || die "the dependency $name could not be built"
        touch "$PREFIX/.done/$name"
    done
    rm -rf "$WORK"
}
declare -A SECONDS_OF=([jsoncpp]=6 [googletest]=14 [benchmark]=12 [cli11]=1 [mediainfo]=90
    [dav1d]=50 [ffmpeg]=240)

ensure() {
    local prefix=$1 name
    shift
    for name in "$@"; do
        [ -e "$prefix/.done/$name" ] || {
            with_lock "$prefix.lock" build "$prefix" "$@"
            return
        }
    done
}

main() {
    command -v "$YMD_CXX" >/dev/null || die "no cross compiler: run scripts/setup.sh first"
    local prefix mediainfo media
    prefix=$(prefix_of deps "${CORE[@]}")
    case ${1:-all} in
    # A process of its own: set -e does not hold in a function whose result is asked for.
    recipe) "build_$2" ;;
    prefix) ;;
    core) ensure "$prefix" "${CORE[@]}" ;;
    all)
        ensure "$prefix" "${CORE[@]}"
        mediainfo=$(prefix_of mediainfo mediainfo)
        ensure "$mediainfo" mediainfo
        [ "$prefix/bin/MediaInfo.dll" -nt "$mediainfo/bin/MediaInfo.dll" ] || {
            mkdir -p "$prefix/bin"
            cp "$mediainfo/bin/MediaInfo.dll" "$prefix/bin/"
        }
        media=$(prefix_of media dav1d ffmpeg)
        ensure "$media" dav1d ffmpeg
        prefix="$prefix;$media"
        ;;
    media)
        prefix=$(prefix_of media dav1d ffmpeg)
        ensure "$prefix" dav1d ffmpeg
        ;;
    *) die "usage: scripts/deps.sh [core|all|media|prefix]" ;;
    esac
    [ "${1:-}" = recipe ] || echo "$prefix"
}
main "$@"
