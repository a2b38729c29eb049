tv_codec_tests(${name}_tests wavpack_decoder wavpack_encoder)
