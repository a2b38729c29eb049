tv_codec_tests(${name}_tests opus_decoder opus_encoder)
