tv_codec_tests(${name}_tests flac_decoder flac_encoder)
