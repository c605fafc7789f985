#!/usr/bin/env bash
# Writes the fuzzers' seed corpora into <folder>/<fuzzer>/: a few valid inputs of each kind, so
# that fuzzing starts from the formats' real shapes. EXR seeds are rendered by the sample-render
# tool given as the second argument (small sizes keep the fuzzers fast).
set -euo pipefail
out=${1:?usage: fuzz-seeds.sh <folder> <lumora-sample-render>}
render=${2:?usage: fuzz-seeds.sh <folder> <lumora-sample-render>}
rm -rf "$out"
mkdir -p "$out"/{conf,text_scanner,render_element,exr_loader,command_line,lut}

seed() {  # seed <fuzzer> <name> <text, printf format>
  printf -- "$3" >"$out/$1/$2"
}

seed conf float 'Float colorMap.simpleExposure = 1.5\n'
seed conf file '# exported\nBool bloomGlare.enabled = true\nInt denoise.filterType = Fireflies\nVec3 colorMap.tint = 1 0.9 0.8\n\nString colorMap.lut.path = "/luts/a \\"b\\".cube"\n'
seed conf arrays 'FloatArray colorMap.lightmixIntensities = 0.5, 3, 1\nBoolArray colorMap.lightmixEnabledLayers = 1, 1, 0\nVec3Array colorMap.lightmixColors = 0 0 1, 1 0 0, 1 1 1\nStringArray x.y = "a", "b"\nIntArray system.numThreads = 1, 2\nVec2Array colorMap.curve = 0 0, 1 1\n'

seed text_scanner int '-42 rest'
seed text_scanner float '1.5e-3,2'
seed text_scanner string '"a \\"quoted\\" text" tail'
seed text_scanner colour '1 0.5 0.25'
seed text_scanner pattern '%%d,%%f\n3,4.5'
seed text_scanner array '"one", "two\\\\", ""'

seed render_element record 'Key|LightSelect|ColorMapped+BloomEffect+GlareEffect'
seed render_element list '"Beauty|Beauty|ColorMapped+BloomEffect+GlareEffect", "Alpha|Alpha|", "LightMix|LightMix|ColorMapped+Virtual+BloomEffect+GlareEffect", "ZDepth|ZDepth|"'

seed command_line merge '-w\0001;%%LUMORA_FB_WEIGHTS\000-e\000BEAUTY\000a.lxr\000b.lxr\000out.lxr'
seed command_line set '--set\000Float colorMap.simpleExposure = 1.5\000--help\000in.lxr\000out.png'
seed command_line config '-c\000/nonexistent.conf\000--list-properties'

# LUT seeds: the first byte picks the reader ("c" .cube, "3" .3dl).
seed lut cube3d 'cTITLE "warm"\nLUT_3D_SIZE 2\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n'
seed lut cube1d3d 'cLUT_1D_SIZE 3\nLUT_1D_INPUT_RANGE 0 2\nLUT_3D_SIZE 2\nLUT_3D_INPUT_RANGE 0 1\n0 0 0\n0.5 0.5 0.5\n1 1 1\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n'
seed lut 3dl '30 512 1023\n0 0 0\n0 0 1023\n0 1023 0\n0 1023 1023\n1023 0 0\n1023 0 1023\n1023 1023 0\n1023 1023 1023\n'

"$render" --size 6x4 --passes 1 --no-denoising-data "$out/exr_loader/small.lxr"
"$render" --size 5x3 --passes 2 --region 1,1,4,3 "$out/exr_loader/region.lxr"
