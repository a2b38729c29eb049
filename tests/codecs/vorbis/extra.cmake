tv_codec_tests(${name}_tests vorbis_decoder vorbis_encoder)
